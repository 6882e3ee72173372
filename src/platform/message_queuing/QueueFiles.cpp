#include "QueueFiles.h"

#include "File.h"
#include "StoredText.h"
#include "TomlFile.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace CorvaneQueue::platform_layer {

namespace {

// One of the service's own; what somebody else has put there is left alone.
bool isQueueFile(const std::filesystem::directory_entry& entry) {
  const std::string name = nameBytes(entry.path().filename());
  std::error_code ignored;
  if (name.size() < 8 || name.find_first_not_of("0123456789abcdef") != std::string::npos ||
      !entry.is_regular_file(ignored))
    return false;
  std::string line;
  std::getline(std::ifstream(entry.path(), std::ios::binary), line);
  return line == "[Properties]\r";
}

// Blanks at the ends would get lost without the quotes.
std::string fileValue(std::u16string_view text) {
  const std::string value = toUtf8(text);
  const bool isBare = value.empty() || (value.front() != ' ' && value.back() != ' ' && value.front() != '"' &&
                                        value.front() != '\'');
  return isBare ? value : '"' + value + '"';
}

}  // namespace

std::filesystem::path QueueFiles::fileOf(std::int64_t queue) const {
  char name[20];
  std::snprintf(name, sizeof name, "%08llx", static_cast<unsigned long long>(queue));
  return storage_ / "lqs" / name;
}

void QueueFiles::write(const QueueRecord& queue) const {
  const bool isPrivate = queue.address.kind == QueueKind::Private;
  const auto line = [](const char* key, const std::string& value) {
    return std::string(key) + "=" + value + "\r\n";
  };
  replaceFile(fileOf(queue.id),
              "[Properties]\r\n" + line("SystemQueue", "00") +
                  line("QueueName", fileValue((isPrivate ? u"\\private$\\" : u"") + queue.address.name)) +
                  line("PathName", fileValue(pathNameOf(queue.address))) +
                  line("Label", fileValue(queue.address.name)) +
                  line("Transaction", queue.isTransactional ? "01" : "00") +
                  line("Journal", queue.keepsJournal ? "01" : "00") +
                  line("Quota", std::to_string(queue.quota)) +
                  line("JournalQuota", std::to_string(queue.journalQuota)),
              storage_ / "queue-file.new");
}

void QueueFiles::remove(std::int64_t queue) const noexcept {
  std::error_code ignored;
  std::filesystem::remove(fileOf(queue), ignored);
}

std::set<std::filesystem::path> QueueFiles::all() const {
  std::set<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(storage_ / "lqs", error))
    if (isQueueFile(entry)) files.insert(entry.path());
  return files;
}

bool QueueFiles::areThoseOf(const std::vector<QueueRecord>& queues) const {
  const auto files = all();
  return files.size() == queues.size() && std::ranges::all_of(queues, [&](const QueueRecord& queue) {
           return files.contains(fileOf(queue.id));
         });
}

void QueueFiles::reconcile(const std::vector<QueueRecord>& queues) const {
  auto files = all();
  for (const QueueRecord& queue : queues)
    if (files.erase(fileOf(queue.id)) == 0) write(queue);
  std::error_code ignored;
  for (const auto& file : files) std::filesystem::remove(file, ignored);
}

void registerDirectory(const std::filesystem::path& installation, const std::filesystem::path& storage) {
  TomlFile registry;
  const TomlFile::Address address{u"LocalMachine", u"SOFTWARE\\Microsoft\\MSMQ\\Parameters",
                                  u"StorePersistentPath"};
  const std::u16string path = storage.u16string();
  const auto registered = registry.read(installation / "registry.toml", address);
  if (!registered || toString(registered->get()).view() != path)
    registry.write(installation / "registry.toml", address, Variant(String(path)));
}

}  // namespace CorvaneQueue::platform_layer
