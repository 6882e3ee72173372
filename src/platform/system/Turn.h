// Who may write into a store, or sync it: one after the other.
#pragma once

#include "File.h"

#include <atomic>
#include <chrono>
#include <optional>

namespace CorvaneQueue::platform_layer {

// Who waits for a turn, and who has it: in memory that all of them share, all zeros at first. The turn itself
// is a lock of the system; this only tells whom to wake, and whom to name.
struct TurnState {
  std::atomic<std::uint32_t> passed;   // counts; who waits sleeps on it
  std::atomic<std::uint32_t> waiting;  // how many sleep, at most: some may have died
  std::atomic<std::int32_t> holder;    // process
  std::atomic<std::int64_t> since;     // seconds since 1970
};
// How they treat each other.
struct TurnQueue {
  std::atomic<std::uint32_t> isWaking;   // somebody has been woken and does not run yet
  std::atomic<std::uint32_t> isOverdue;  // somebody has waited for long: newcomers stand back
};

// A lock on one byte of a file, which the system takes from a process that dies, and a place to sleep until
// it is passed on. Who asks gets it when it is free, also before somebody who is asleep: waking up takes
// time, in which work can be done. Whoever has waited for long is let in before all newcomers. Not thread
// safe: each holder has one of its own, with an open file of its own, which must outlive it.
class Turn {
 public:
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  Turn(const File& file, std::int64_t ofTurn, TurnState& state, TurnQueue& queue) noexcept
      : file_(file), byte_(ofTurn), state_(&state), queue_(&queue) {}
  ~Turn() { pass(); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // Forgets those who have died waiting; while nobody else uses it.
  void beginAnew() noexcept;
  // False when the time has passed; it is tried at least once. No deadline: waits without end.
  bool take(Deadline deadline);
  // At once, or not at all.
  bool tryTake();
  void pass() noexcept;
  // Who has it and since when, for error texts: "process 4711 has been writing since 02:59:59 UTC".
  std::u16string holder() const;

 private:
  const File& file_;
  std::int64_t byte_;
  TurnState* state_;
  TurnQueue* queue_;
  bool isTaken_ = false;
};

}  // namespace CorvaneQueue::platform_layer
