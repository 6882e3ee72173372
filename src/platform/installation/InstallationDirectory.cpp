#include "InstallationDirectory.h"

#include "Lasting.h"
#include "Log.h"
#include "Process.h"

namespace CorvaneQueue::platform_layer {

namespace {

// The directory itself keeps everybody out; the files are for the day when somebody opens it again.
void tighten(const std::filesystem::path& installation) {
  if (!takeFromOthers(installation)) return;
  std::error_code error;
  for (auto at = std::filesystem::recursive_directory_iterator(installation, error);
       !error && at != std::filesystem::recursive_directory_iterator(); at.increment(error))
    takeFromOthers(at->path());
  warnInLog(u"Installation", u"Opening",
            u"Others than the owner could read the installation \"" + shownPath(installation) +
                u"\": their rights have been taken away.");
}

}  // namespace

const std::filesystem::path& installationDirectory() {
  auto set = environmentVariable("CORVANE_HOME");
  const bool isNamed = set && !set->empty();
  const NativeText base = isNamed ? *std::move(set) : dataDirectory();
  if (base.empty())
    throw Error(E_FAIL, {}, u"There is no installation directory: set CORVANE_HOME (or HOME).");
  // Not looked at again and again: settings are read with every object that is made.
  struct Checked {
    NativeText base;
    bool isNamed = false;
    std::filesystem::path directory;
    std::chrono::steady_clock::time_point at;
  };
  static Lasting<PerThread<Checked>> checks;
  Checked& checked = checks->current();
  const auto now = std::chrono::steady_clock::now();
  constexpr auto longest = std::chrono::milliseconds(100);
  if (now - checked.at < longest && checked.base == base && checked.isNamed == isNamed)
    return checked.directory;
  std::filesystem::path directory(base);
  if (!isNamed) directory /= "corvane";
  if (const FileState state = FileState::ifThere(directory); state.isThere()) {
    if (state.kind != FileState::Kind::Directory)
      throwFileError(u"Using the installation directory", directory, std::errc::not_a_directory);
    if (state.isOpenToOthers) tighten(directory);
  }
  checked = {base, isNamed, std::move(directory), now};
  return checked.directory;
}

}  // namespace CorvaneQueue::platform_layer
