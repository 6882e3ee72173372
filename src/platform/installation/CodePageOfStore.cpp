#include "CodePageOfStore.h"

#include "CodePage.h"
#include "TomlFile.h"

#include <CorvaneQueue/Error.h>

#include <fstream>
#include <string>

namespace CorvaneQueue::platform_layer {

namespace {

std::filesystem::path storageOf(const std::filesystem::path& installation) {
  return installation / "msmq" / "storage";
}
std::filesystem::path recordOf(const std::filesystem::path& installation) {
  return storageOf(installation) / "codepage";
}
bool hasStore(const std::filesystem::path& installation) {
  return isThere(storageOf(installation) / "queues.db");
}

void writeDown(const std::filesystem::path& installation) {
  TomlFile settings;
  const std::filesystem::path file = installation / "settings.toml";
  const TomlFile::Address address{u"Platform", u"CodePage"};
  const auto set = settings.read(file, address);
  const std::int32_t number = set ? toInt32(set->get()) : codePageOfStore(installation);
  if (!isThere(recordOf(installation))) {
    const File lockFile(installation / "settings.toml.lock", File::Use::Create);
    const FileLock lock(lockFile);
    if (!isThere(recordOf(installation))) replaceFile(recordOf(installation), std::to_string(number) + "\n");
  }
  if (!set) settings.write(file, address, number);
}

}  // namespace

std::int32_t codePageOfStore(const std::filesystem::path& installation) {
  constexpr std::int32_t beforeItWasRecorded = 1252;
  std::int32_t number = 0;
  if (std::ifstream(recordOf(installation)) >> number) return number;
  return hasStore(installation) ? beforeItWasRecorded : CodePage::utf8;
}

void recordCodePage(const std::filesystem::path& installation) {
  try {
    writeDown(installation);
  } catch (const Error&) {
    if (!hasStore(installation)) throw;
  }
}

}  // namespace CorvaneQueue::platform_layer
