// Locks on bytes of a file, within it or beyond its end. The system takes them from a holder that ends, also
// when its process dies.
#pragma once

#include "File.h"

#include <optional>

namespace CorvaneQueue::platform_layer {

// Both included.
struct ByteRange {
  std::int64_t from;
  std::int64_t to;
};
enum class ByteLock { Shared, Exclusive, None };

// The holder is the open file. Changes a lock that it has. False when another holder is in the way. Throws an
// Error that names the file.
bool tryLock(const File& file, ByteRange range, ByteLock lock);
// Of calls that take locks as the engine does: what the last one failed with is forgotten, and whether it was
// more than another holder in the way.
void forgetFailure() noexcept;
bool hasLockingFailed() noexcept;

void unlockAll(const File& file) noexcept;
// The range around one of these bytes that another holder has; nothing when they are free or its own.
std::optional<ByteRange> heldByOther(const File& file, ByteRange range);

}  // namespace CorvaneQueue::platform_layer
