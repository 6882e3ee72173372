#include "ByteLocks.h"

#include <fcntl.h>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

struct flock rangeOf(ByteRange bytes, short type) noexcept {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = bytes.from;
  range.l_len = bytes.to - bytes.from + 1;
  return range;
}

}  // namespace

bool tryLock(const File& file, ByteRange range, ByteLock lock) {
  struct flock asked = rangeOf(range, lock == ByteLock::None     ? F_UNLCK
                                      : lock == ByteLock::Shared ? F_RDLCK
                                                                 : F_WRLCK);
  while (::fcntl(file.native(), F_OFD_SETLK, &asked) != 0) {
    if (errno == EAGAIN || errno == EACCES) return false;
    if (errno != EINTR) throwSystemError(u"Locking", file.name());
  }
  return true;
}

void forgetFailure() noexcept { errno = 0; }
bool hasLockingFailed() noexcept {
  return errno != 0 && errno != EAGAIN && errno != EACCES && errno != EINTR;
}

void unlockAll(const File& file) noexcept {
  struct flock range = rangeOf({0, -1}, F_UNLCK);  // to the end
  ::fcntl(file.native(), F_OFD_SETLK, &range);
}

std::optional<ByteRange> heldByOther(const File& file, ByteRange range) {
  struct flock asked = rangeOf(range, F_WRLCK);
  while (::fcntl(file.native(), F_OFD_GETLK, &asked) != 0)
    if (errno != EINTR) throwSystemError(u"Locking", file.name());
  if (asked.l_type == F_UNLCK) return std::nullopt;
  return ByteRange{asked.l_start, asked.l_start + asked.l_len - 1};
}

}  // namespace CorvaneQueue::platform_layer
