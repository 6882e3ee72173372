// The system tells of changes in a directory, not of which file: whoever watches one looks at all of his own.
#include "FileWatcher.h"

#include "Handle.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

// The name and the write of a file; a write is told of when the file that was open for it is closed.
constexpr DWORD changes = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE;

DWORD millisecondsOf(std::chrono::nanoseconds time) noexcept {
  const auto count = std::chrono::ceil<std::chrono::milliseconds>(time).count();
  return static_cast<DWORD>(std::clamp<std::int64_t>(count, 0, 1 << 30));
}

}  // namespace

bool FileWatcher::open(const std::filesystem::path& directory) noexcept {
  native_ = nativeOf(::FindFirstChangeNotificationW(directory.c_str(), FALSE, changes));
  return isOpen();
}
void FileWatcher::close() noexcept {
  if (const Native native = std::exchange(native_, noNative); native != noNative)
    ::FindCloseChangeNotification(handleOf(native));
}

void FileWatcher::tell(const File& file) {
  const File told(file.name(), File::Use::Create);
  const std::uint8_t byte = 1;
  told.writeAt({&byte, 1}, 0);
}

std::optional<int> FileWatcher::watch(const std::filesystem::path&) noexcept { return 0; }

void FileWatcher::take(const std::function<void(Change)>& taker) {
  if (::WaitForSingleObject(handleOf(native_), 0) != WAIT_OBJECT_0) return;
  if (::FindNextChangeNotification(handleOf(native_)) == 0) throwSystemError(u"Waiting for", {});
  taker({std::nullopt, false});
}

void FileWatcher::wait(std::chrono::nanoseconds longest) const {
  if (!isOpen())
    ::Sleep(millisecondsOf(longest));
  else if (::WaitForSingleObject(handleOf(native_), millisecondsOf(longest)) == WAIT_FAILED)
    throwSystemError(u"Waiting for", {});
}

void WakeTimer::open() {
  const HANDLE timer = ::CreateWaitableTimerW(nullptr, TRUE, nullptr);
  if (timer == nullptr) throwSystemError(u"Waiting for", {});
  native_ = nativeOf(timer);
}
void WakeTimer::set(std::chrono::nanoseconds time) noexcept {
  LARGE_INTEGER due;
  due.QuadPart = -std::max<std::int64_t>(time.count() / 100, 1);  // tenths of microseconds from now
  ::SetWaitableTimer(handleOf(native_), &due, 0, nullptr, nullptr, FALSE);
}
// Not set any more.
void WakeTimer::take() noexcept { ::CancelWaitableTimer(handleOf(native_)); }
WakeTimer::~WakeTimer() {
  if (isOpen()) ::CloseHandle(handleOf(native_));
}

}  // namespace CorvaneQueue::platform_layer
