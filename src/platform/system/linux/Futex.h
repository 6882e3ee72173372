// Sleeping on a number in shared memory.
#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <climits>

namespace CorvaneQueue::platform_layer {

// Counts somebody who sleeps, for a time.
class Sleeper {
 public:
  explicit Sleeper(std::atomic<std::uint32_t>& count) noexcept : count_(count) { ++count_; }
  ~Sleeper() { --count_; }
  Sleeper(const Sleeper&) = delete;
  Sleeper& operator=(const Sleeper&) = delete;

 private:
  std::atomic<std::uint32_t>& count_;
};

inline void sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value,
                       std::chrono::nanoseconds time) noexcept {
  timespec limit{};
  limit.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  limit.tv_nsec = (time % std::chrono::seconds(1)).count();
  ::syscall(SYS_futex, &word, FUTEX_WAIT, value, &limit, nullptr, 0);
}
// Returns how many it has woken.
inline long wake(std::atomic<std::uint32_t>& word, int count) noexcept {
  return ::syscall(SYS_futex, &word, FUTEX_WAKE, count, nullptr, nullptr, 0);
}

}  // namespace CorvaneQueue::platform_layer
