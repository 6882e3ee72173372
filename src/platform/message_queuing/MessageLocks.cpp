#include "MessageLocks.h"

#include "Lasting.h"

#include <pthread.h>
#include <mutex>
#include <vector>

#include <cerrno>

namespace CorvaneQueue::platform_layer {

// All of this process: a child lets go of its copies of the descriptors at once, which would otherwise
// keep the locks alive when the parent dies, and could release them while it lives.
struct LocksOfProcess {
  std::mutex mutex;
  std::vector<MessageLocks*> all;
  void closeAll() noexcept {
    for (MessageLocks* locks : all) locks->file_ = FileDescriptor();
  }
};

namespace {

LocksOfProcess& locksOfProcess() {
  static Lasting<LocksOfProcess> locks;
  return *locks;
}
void watchForks() {
  static const int registered =
      ::pthread_atfork([] { locksOfProcess().mutex.lock(); }, [] { locksOfProcess().mutex.unlock(); },
                       [] {
                         locksOfProcess().closeAll();
                         locksOfProcess().mutex.unlock();
                       });
  if (registered != 0) throw std::bad_alloc();
}

}  // namespace

MessageLocks::MessageLocks(const std::filesystem::path& lockFile)
    : path_(lockFile), file_(FileDescriptor::ifPermitted(lockFile, O_RDWR | O_CREAT)) {
  if (file_.get() < 0) file_ = FileDescriptor(lockFile, O_RDONLY);  // who may only read can still look
  watchForks();
  const std::lock_guard guard(locksOfProcess().mutex);
  locksOfProcess().all.push_back(this);
}
MessageLocks::~MessageLocks() {
  const std::lock_guard guard(locksOfProcess().mutex);
  std::erase(locksOfProcess().all, this);
}

namespace {

constexpr std::u16string_view tried = u"Locking a message in";

struct flock rangeOf(std::int64_t message, short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = message;
  range.l_len = 1;
  return range;
}

}  // namespace

bool MessageLocks::tryLock(std::int64_t message) {
  struct flock range = rangeOf(message, F_WRLCK);
  while (::fcntl(file_.get(), F_OFD_SETLK, &range) != 0) {
    if (errno == EAGAIN || errno == EACCES) return false;
    if (errno != EINTR) throwSystemError(tried, path_);
  }
  return true;
}

void MessageLocks::unlock(std::int64_t message) noexcept {
  struct flock range = rangeOf(message, F_UNLCK);
  ::fcntl(file_.get(), F_OFD_SETLK, &range);
}

void MessageLocks::unlockAll() noexcept {
  struct flock range = rangeOf(0, F_UNLCK);
  range.l_len = 0;  // to the end
  ::fcntl(file_.get(), F_OFD_SETLK, &range);
}

std::optional<MessageLocks::Range> MessageLocks::heldByOther(std::int64_t from, std::int64_t to) const {
  struct flock range = rangeOf(from, F_WRLCK);
  range.l_len = to - from + 1;
  while (::fcntl(file_.get(), F_OFD_GETLK, &range) != 0)
    if (errno != EINTR) throwSystemError(tried, path_);
  if (range.l_type == F_UNLCK) return std::nullopt;
  return Range{range.l_start, range.l_start + range.l_len - 1};
}

}  // namespace CorvaneQueue::platform_layer
