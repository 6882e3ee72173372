// Locks on single messages: who holds one has received the message, and nobody else sees it.
#pragma once

#include "ByteLocks.h"

#include <functional>

namespace CorvaneQueue::platform_layer {

// One holder's locks: a byte range of the lock file for each message, by its place: the number of its box and
// its position in it. The system releases them when the holder ends, also when its process dies. A process
// that was forked off has no part in them.
class MessageLocks {
 public:
  explicit MessageLocks(const std::filesystem::path& lockFile);
  ~MessageLocks();
  MessageLocks(const MessageLocks&) = delete;
  MessageLocks& operator=(const MessageLocks&) = delete;

  // Of positions of a box. False when another holder has one of them. The system keeps adjacent ranges as
  // one, and looks at all of a holder's for each call: many that are apart take long.
  bool tryLock(std::int64_t box, ByteRange positions);
  bool tryLock(std::int64_t box, std::int64_t position) { return tryLock(box, {position, position}); }
  void unlock(std::int64_t box, std::int64_t position) noexcept;
  void unlockAll() noexcept;
  // The range around one of these positions that another holder has; nothing when they are free or this
  // one's own.
  std::optional<ByteRange> heldByOther(std::int64_t box, ByteRange positions) const;
  std::optional<ByteRange> heldByOther(std::int64_t box, std::int64_t position) const {
    return heldByOther(box, {position, position});
  }
  // How many messages of the box other holders have: `count` tells how many there are in a range.
  std::int64_t countHeldByOthers(std::int64_t box, const std::function<std::int64_t(ByteRange)>& count) const;

 private:
  friend struct LocksOfProcess;
  File file_;
};

}  // namespace CorvaneQueue::platform_layer
