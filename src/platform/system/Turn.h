// Who may write into a store, or sync it: one after the other.
#pragma once

#include "File.h"

#include <atomic>
#include <chrono>
#include <optional>

namespace CorvaneQueue::platform_layer {

// Who waits for a turn, and who has it: in memory that all of them share, all zeros at first.
struct TurnState {
  std::atomic<std::uint32_t> passed;   // counts; who waits sleeps on it
  std::atomic<std::uint32_t> waiting;  // how many sleep, at most: some may have died
  std::atomic<std::int32_t> holder;    // process
  std::atomic<std::int64_t> since;     // seconds since 1970
};
// The lock itself, which the system takes from a process or thread that ends.
struct TurnLock {
  alignas(8) unsigned char system[64];
  std::atomic<std::uint32_t> isPrepared;
  std::atomic<std::uint32_t> isWaking;   // somebody has been woken and does not run yet
  std::atomic<std::uint32_t> isOverdue;  // somebody has waited for long: newcomers stand back
};

// Who asks gets it when it is free, also before somebody who is asleep: waking up takes time, in which work
// can be done. Whoever has waited for long is let in before all newcomers. Belongs to one thread.
class Turn {
 public:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  Turn(TurnState& state, TurnLock& lock) noexcept : state_(&state), lock_(&lock) {}
  ~Turn() { pass(); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // Makes the lock anew; while nobody else uses it.
  void prepare() noexcept;
  // False when the time has passed; it is tried at least once. No deadline: waits without end.
  bool take(Deadline deadline);
  // At once, or not at all.
  bool tryTake() noexcept;
  void pass() noexcept;
  bool isTaken() const noexcept { return isTaken_; }
  // Who has it and since when, for error texts: "process 4711 has been writing since 02:59:59 UTC".
  std::u16string holder() const;

 private:
  TurnState* state_;
  TurnLock* lock_;
  bool isTaken_ = false;
};

}  // namespace CorvaneQueue::platform_layer
