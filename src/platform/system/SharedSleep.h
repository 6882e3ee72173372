// Sleeping on a number in memory that processes share.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

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

// As long as it has that value, at most for the time; may return earlier without a reason.
void sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value,
                std::chrono::nanoseconds time) noexcept;
// Wakes so many who sleep on it, of whatever process. Returns how many it has woken, as far as the system
// tells.
long wake(std::atomic<std::uint32_t>& word, int count) noexcept;

}  // namespace CorvaneQueue::platform_layer
