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

// Each box has a part of the file. Positions and boxes beyond what fits share bytes with others, which holds
// up more than it should and gives out nothing twice.
constexpr int bitsOfPosition = 41;
constexpr int bitsOfBox = 21;
off_t placeOf(std::int64_t box, std::int64_t position) {
  constexpr auto lowBits = [](std::int64_t number, int bits) {
    return number & ((std::int64_t{1} << bits) - 1);
  };
  return lowBits(box, bitsOfBox) << bitsOfPosition | lowBits(position, bitsOfPosition);
}

struct flock rangeOf(std::int64_t box, MessageLocks::Range positions, short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = placeOf(box, positions.from);
  range.l_len = positions.to - positions.from + 1;
  return range;
}

}  // namespace

bool MessageLocks::tryLock(std::int64_t box, Range positions) {
  struct flock range = rangeOf(box, positions, F_WRLCK);
  while (::fcntl(file_.get(), F_OFD_SETLK, &range) != 0) {
    if (errno == EAGAIN || errno == EACCES) return false;
    if (errno != EINTR) throwSystemError(tried, path_);
  }
  return true;
}

void MessageLocks::unlock(std::int64_t box, std::int64_t position) noexcept {
  struct flock range = rangeOf(box, {position, position}, F_UNLCK);
  ::fcntl(file_.get(), F_OFD_SETLK, &range);
}

void MessageLocks::unlockAll() noexcept {
  struct flock range = rangeOf(0, {0, -1}, F_UNLCK);  // to the end
  ::fcntl(file_.get(), F_OFD_SETLK, &range);
}

std::optional<MessageLocks::Range> MessageLocks::heldByOther(std::int64_t box, Range positions) const {
  const struct flock asked = rangeOf(box, positions, F_WRLCK);
  struct flock range = asked;
  while (::fcntl(file_.get(), F_OFD_GETLK, &range) != 0)
    if (errno != EINTR) throwSystemError(tried, path_);
  if (range.l_type == F_UNLCK) return std::nullopt;
  const std::int64_t from = positions.from + (range.l_start - asked.l_start);
  return Range{from, from + range.l_len - 1};
}

}  // namespace CorvaneQueue::platform_layer
