// Who may write into a store, or sync it: one after the other, in the order of asking.
#pragma once

#include "Files.h"
#include "StoreState.h"

#include <chrono>
#include <optional>

namespace CorvaneQueue::platform_layer {

// A lock on one byte of a file, which the system takes from a process that dies, and a place to sleep until
// it is passed on. Nobody overtakes who has waited. Not thread safe: each holder has one of its own, with an
// open file of its own, which must outlive it.
class Turn {
 public:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  Turn(const FileDescriptor& file, std::int64_t byte, TurnState& state) noexcept
      : descriptor_(file.get()), byte_(byte), state_(&state) {}
  ~Turn() { pass(); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // False when the time has passed; it is tried at least once. No deadline: waits without end.
  bool take(Deadline deadline);
  void pass() noexcept;
  bool isTaken() const noexcept { return isTaken_; }
  // Who has it and since when, for error texts: "process 4711 has had it since 02:59:59 UTC".
  std::u16string holder() const;

 private:
  bool tryLock();

  int descriptor_;
  std::int64_t byte_;
  TurnState* state_;
  bool isTaken_ = false;
};

// Locks one byte of a file, shared or exclusive, if that is possible at once. A lock that is held is changed.
enum class ByteLock { Shared, Exclusive, None };
bool tryByteLock(int descriptor, std::int64_t byte, ByteLock lock);

}  // namespace CorvaneQueue::platform_layer
