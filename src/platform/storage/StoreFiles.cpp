#include "StoreFiles.h"

#include "Log.h"
#include "StoredText.h"

#include <chrono>
#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {

std::filesystem::path beside(std::filesystem::path file, const char* ending) { return file += ending; }

constexpr const char16_t* advice = u"nothing was stored. Initialize the queue again, or restart the program.";

}  // namespace

StoreFiles::StoreFiles(const std::filesystem::path& store) : directory_(store.parent_path()) {
  store_.path = store;
  log_.path = beside(store, "-wal");
  index_.path = beside(store, "-shm");
}

bool StoreFiles::Remembered::isSame() noexcept {
  FileState now;
  return isSame(now);
}
bool StoreFiles::Remembered::isSame(FileState& now) noexcept {
  now = FileState::ifThere(path);
  if (!state.isThere()) {
    state = now;
    return true;
  }
  return now.isSameFile(state);
}

void StoreFiles::remember() noexcept {
  for (Remembered* const each : {&store_, &log_, &index_}) each->isSame();
}

// Names that come and go change the time stamp of their directory.
bool StoreFiles::isDirectoryUnchanged() noexcept {
  const FileState now = FileState::ifThere(directory_);
  if (!now.isThere()) return false;
  if (isSettled_ && now.isSameFile(directoryState_) && now.modified == directoryState_.modified) return true;
  using namespace std::chrono;
  constexpr auto clockStep = milliseconds(50);  // time stamps have the clock's coarse steps
  isSettled_ = system_clock::now().time_since_epoch() - now.modified > clockStep;
  directoryState_ = now;
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

bool StoreFiles::isIndexWhole(const StoreFile& file) {
  // Read before the file is looked at: it grows, and what others have seen of that meanwhile must not look as
  // if it had been cut.
  const std::int64_t wholeSize = file.state->indexBytes;
  FileState now;
  if (!index_.isSame(now)) {
    areLost_ = true;
    looks_.soon();
    file.fail(E_FAIL, u"its index \"" + shownPath(index_.path) +
                          u"\" has been removed or replaced since this process opened it; " + advice);
  }
  if (now.size > wholeSize) file.state->indexBytes = now.size;
  return !now.isThere() || now.size >= wholeSize;  // or not made yet
}

void StoreFiles::mustMapWholeIndex(const StoreFile& file) {
  if (openStoresStay || !looks_.isDue()) return;
  // A process that opens the store while the last one closes it begins the index anew, and tells so at once.
  constexpr int looks = 5;
  for (int look = 0; look < looks; ++look) {
    if (isIndexWhole(file)) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  const auto wholeSize = static_cast<std::uintmax_t>(file.state->indexBytes.load());
  std::error_code error;
  std::filesystem::resize_file(index_.path, 0, error);
  if (!error) std::filesystem::resize_file(index_.path, wholeSize, error);
  if (error) throwFileError(u"Mending", index_.path, error);
  warnInLog(u"Storage", u"Reading",
            u"Somebody has cut the file \"" + shownPath(index_.path) + u"\" short; it is made anew.");
}

void StoreFiles::indexIsMapped(const StoreFile& file) noexcept {
  if (file.state != nullptr) file.state->indexBytes = FileState::ifThere(index_.path).size;
}

}  // namespace CorvaneQueue::platform_layer
