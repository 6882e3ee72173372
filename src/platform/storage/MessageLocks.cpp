#include "MessageLocks.h"

#include "Lasting.h"
#include "Process.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace CorvaneQueue::platform_layer {

// All of this process: a child lets go of its copies of the descriptors at once, which would otherwise
// keep the locks alive when the parent dies, and could release them while it lives.
struct LocksOfProcess {
  std::mutex mutex;
  std::vector<MessageLocks*> all;
  void closeAll() noexcept {
    for (MessageLocks* locks : all) locks->file_ = File();
  }
};

namespace {

LocksOfProcess& locksOfProcess() {
  static Lasting<LocksOfProcess> locks;
  return *locks;
}
void watchForks() {
  static const bool isWatched = [] {
    onFork([] { locksOfProcess().mutex.lock(); }, [] { locksOfProcess().mutex.unlock(); },
           [] {
             locksOfProcess().closeAll();
             locksOfProcess().mutex.unlock();
           });
    return true;
  }();
  static_cast<void>(isWatched);
}

}  // namespace

MessageLocks::MessageLocks(const std::filesystem::path& lockFile)
    : file_(File::ifPermitted(lockFile, File::Use::Create)) {
  if (!file_.isOpen()) file_ = File(lockFile, File::Use::Read);  // who may only read can still look
  watchForks();
  const std::lock_guard guard(locksOfProcess().mutex);
  locksOfProcess().all.push_back(this);
}
MessageLocks::~MessageLocks() {
  const std::lock_guard guard(locksOfProcess().mutex);
  std::erase(locksOfProcess().all, this);
}

namespace {

// Each box has a part of the file. Positions and boxes beyond what fits share bytes with others, which holds
// up more than it should and gives out nothing twice.
constexpr int bitsOfPosition = 41;
constexpr int bitsOfBox = 21;
std::int64_t placeOf(std::int64_t box, std::int64_t position) {
  constexpr auto lowBits = [](std::int64_t number, int bits) {
    return number & ((std::int64_t{1} << bits) - 1);
  };
  return lowBits(box, bitsOfBox) << bitsOfPosition | lowBits(position, bitsOfPosition);
}

ByteRange placesOf(std::int64_t box, ByteRange positions) {
  const std::int64_t first = placeOf(box, positions.from);
  return {first, first + positions.to - positions.from};
}

}  // namespace

bool MessageLocks::tryLock(std::int64_t box, ByteRange positions) {
  return platform_layer::tryLock(file_, placesOf(box, positions), ByteLock::Exclusive);
}

void MessageLocks::unlock(std::int64_t box, std::int64_t position) noexcept {
  try {
    platform_layer::tryLock(file_, placesOf(box, {position, position}), ByteLock::None);
  } catch (const Error&) {  // the file is closed, and the lock with it
  }
}

void MessageLocks::unlockAll() noexcept { platform_layer::unlockAll(file_); }

std::optional<ByteRange> MessageLocks::heldByOther(std::int64_t box, ByteRange positions) const {
  const ByteRange places = placesOf(box, positions);
  const auto held = platform_layer::heldByOther(file_, places);
  if (!held) return std::nullopt;
  const std::int64_t offset = positions.from - places.from;
  return ByteRange{held->from + offset, held->to + offset};
}

std::int64_t MessageLocks::countHeldByOthers(std::int64_t box,
                                             const std::function<std::int64_t(ByteRange)>& count) const {
  constexpr std::int64_t last = (std::int64_t{1} << bitsOfPosition) - 1;
  std::int64_t held = 0;
  for (std::int64_t from = 0; from <= last;) {
    const auto range = heldByOther(box, {from, last});
    if (!range) break;
    held += count({std::max(from, range->from), std::min(range->to, last)});
    from = range->to + 1;
  }
  return held;
}

}  // namespace CorvaneQueue::platform_layer
