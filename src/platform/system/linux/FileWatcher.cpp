#include "FileWatcher.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <cerrno>
#include <utility>

namespace CorvaneQueue::platform_layer {

namespace {
timespec timeOf(std::chrono::nanoseconds time) noexcept {
  timespec parts{};
  parts.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  parts.tv_nsec = (time % std::chrono::seconds(1)).count();
  return parts;
}
}  // namespace

bool FileWatcher::open(const std::filesystem::path&) noexcept {
  native_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  return isOpen();
}
void FileWatcher::close() noexcept {
  if (const int native = std::exchange(native_, noNative); native >= 0) ::close(native);
}

void FileWatcher::tell(const File& file) {
  const std::uint8_t byte = 1;
  file.writeAt({&byte, 1}, 0);
}

std::optional<int> FileWatcher::watch(const std::filesystem::path& file) noexcept {
  const int watch = ::inotify_add_watch(native_, file.c_str(), IN_MODIFY | IN_DELETE_SELF | IN_ATTRIB);
  return watch < 0 ? std::nullopt : std::optional(watch);
}

void FileWatcher::take(const std::function<void(Change)>& taker) {
  alignas(inotify_event) char events[4096];
  while (true) {
    const ssize_t size = ::read(native_, events, sizeof events);
    if (size <= 0) return;
    for (ssize_t at = 0; at < size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      at += static_cast<ssize_t>(sizeof *event + event->len);
      Change change{event->wd, (event->mask & IN_IGNORED) != 0};
      if ((event->mask & IN_Q_OVERFLOW) != 0) change.watch.reset();
      taker(change);
    }
  }
}

void FileWatcher::wait(std::chrono::nanoseconds longest) const {
  const timespec time = timeOf(longest);
  pollfd descriptor{native_, POLLIN, 0};
  if (::ppoll(&descriptor, 1, &time, nullptr) < 0 && errno != EINTR) throwSystemError(u"Waiting for", {});
}

void WakeTimer::open() {
  native_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  if (!isOpen()) throwSystemError(u"Waiting for", {});
}
void WakeTimer::set(std::chrono::nanoseconds time) noexcept {
  itimerspec due{};
  due.it_value = timeOf(time);
  ::timerfd_settime(native_, 0, &due, nullptr);
}
void WakeTimer::take() noexcept {
  std::uint64_t expirations = 0;
  static_cast<void>(::read(native_, &expirations, sizeof expirations));
}
WakeTimer::~WakeTimer() {
  if (isOpen()) ::close(native_);
}

}  // namespace CorvaneQueue::platform_layer
