#include "StoreFiles.h"

#include "Log.h"
#include "Text.h"

#include <unistd.h>
#include <chrono>

namespace CorvaneQueue::platform_layer {

namespace {

std::filesystem::path beside(std::filesystem::path file, const char* ending) { return file += ending; }

bool isSameFile(const struct stat& left, const struct stat& right) noexcept {
  return left.st_ino == right.st_ino && left.st_dev == right.st_dev;
}

constexpr const char16_t* advice = u"nothing was stored. Initialize the queue again, or restart the program.";

}  // namespace

StoreFiles::StoreFiles(const std::filesystem::path& store) : directory_(store.parent_path()) {
  store_.path = store;
  log_.path = beside(store, "-wal");
  index_.path = beside(store, "-shm");
}

bool StoreFiles::Known::isSame() noexcept {
  struct stat now {};
  return isSame(now);
}
bool StoreFiles::Known::isSame(struct stat& now) noexcept {
  const bool isThere = ::stat(path.c_str(), &now) == 0;
  if (status.st_ino == 0) {
    if (isThere) status = now;
    return true;
  }
  return isThere && isSameFile(now, status);
}

void StoreFiles::know() noexcept {
  for (Known* const known : {&store_, &log_, &index_}) known->isSame();
}

// Names that come and go change the time stamp of their directory.
bool StoreFiles::isDirectoryUnchanged() noexcept {
  struct stat now {};
  if (::stat(directory_.c_str(), &now) != 0) return false;
  if (isSettled_ && isSameFile(now, directoryStatus_) &&
      now.st_mtim.tv_sec == directoryStatus_.st_mtim.tv_sec &&
      now.st_mtim.tv_nsec == directoryStatus_.st_mtim.tv_nsec)
    return true;
  using namespace std::chrono;
  constexpr auto clockStep = milliseconds(50);  // time stamps have the clock's coarse steps
  const auto changed = seconds(now.st_mtim.tv_sec) + nanoseconds(now.st_mtim.tv_nsec);
  isSettled_ = system_clock::now().time_since_epoch() - changed > clockStep;
  directoryStatus_ = now;
  return false;
}

void StoreFiles::mustBeThere(const StoreFile& file, const StoreSharing& sharing) {
  if (!areLost_ && (isDirectoryUnchanged() || (store_.isSame() && log_.isSame())) && sharing.isWhole())
    return;
  areLost_ = true;
  file.fail(E_FAIL, std::u16string(
                        u"the file, its log or its lock file has been removed or replaced since this process "
                        u"opened it; ") +
                        advice);
}

void StoreFiles::mustMapWholeIndex(const StoreFile& file) {
  struct stat now {};
  if (!index_.isSame(now)) {
    areLost_ = true;
    file.fail(E_FAIL, u"its index \"" + shownPath(index_.path) +
                          u"\" has been removed or replaced since this process opened it; " + advice);
  }
  if (now.st_ino == 0) return;  // not made yet
  std::atomic<std::int64_t>& known = file.state->indexBytes;
  if (now.st_size >= known) {
    known = now.st_size;
    return;
  }
  if (::truncate(index_.path.c_str(), 0) != 0 || ::truncate(index_.path.c_str(), known) != 0)
    throwSystemError(u"Mending", index_.path);
  warnInLog(u"Storage", u"Reading",
            u"Somebody has cut the file \"" + shownPath(index_.path) + u"\" short; it is made anew.");
}

}  // namespace CorvaneQueue::platform_layer
