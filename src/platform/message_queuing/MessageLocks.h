// Locks on single messages: who holds one has received the message, and nobody else sees it.
#pragma once

#include "Files.h"

#include <fcntl.h>

#include <cstdint>
#include <optional>

namespace CorvaneQueue::platform_layer {

// One holder's locks: a byte range of the lock file for each message, by its identifier. The system
// releases them when the holder ends, also when its process dies. A process that was forked off has no
// part in them.
class MessageLocks {
 public:
  explicit MessageLocks(const std::filesystem::path& lockFile);
  ~MessageLocks();
  MessageLocks(const MessageLocks&) = delete;
  MessageLocks& operator=(const MessageLocks&) = delete;

  // False when another holder has it.
  bool tryLock(std::int64_t message);
  void unlock(std::int64_t message) noexcept;
  void unlockAll() noexcept;
  // The messages from..to, both included, around this one that another holder has; nothing when it is
  // free or this one's own.
  struct Range {
    std::int64_t from;
    std::int64_t to;
  };
  std::optional<Range> heldByOther(std::int64_t message) const { return heldByOther(message, message); }
  // The same of any message from..to.
  std::optional<Range> heldByOther(std::int64_t from, std::int64_t to) const;

 private:
  friend struct LocksOfProcess;
  std::filesystem::path path_;
  FileDescriptor file_;
};

}  // namespace CorvaneQueue::platform_layer
