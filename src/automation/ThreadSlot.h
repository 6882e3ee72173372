// What the system keeps for each thread under one key.
#pragma once

#include "ThreadKey.h"

namespace CorvaneQueue {

// Threads may have been ended by then wherever they were, with locks that they held.
bool isProcessEnding() noexcept;

// One address for each thread that has set it. `ended` is called for it at the end of that thread.
class ThreadSlot {
 public:
  using Ended = ThreadKeyEnded;
  // Throws std::bad_alloc.
  explicit ThreadSlot(Ended ended);
  ~ThreadSlot();
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  // The calling thread's; null before it is set.
  void* get() const noexcept;
  bool set(void* address) const noexcept;

 private:
  ThreadKey key_{};
};

}  // namespace CorvaneQueue
