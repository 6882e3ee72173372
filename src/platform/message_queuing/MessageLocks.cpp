#include "MessageLocks.h"

#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::u16string_view tried = u"Locking a message in";
const std::filesystem::path lockFileName = "messages.locks";

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
    if (errno != EINTR) throwSystemError(tried, lockFileName);
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

std::optional<MessageLocks::Range> MessageLocks::heldByOther(std::int64_t message) const {
  struct flock range = rangeOf(message, F_WRLCK);
  while (::fcntl(file_.get(), F_OFD_GETLK, &range) != 0)
    if (errno != EINTR) throwSystemError(tried, lockFileName);
  if (range.l_type == F_UNLCK) return std::nullopt;
  return Range{range.l_start, range.l_start + range.l_len - 1};
}

}  // namespace CorvaneQueue::platform_layer
