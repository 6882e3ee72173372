// What is not looked at again and again.
#pragma once

#include <chrono>

namespace CorvaneQueue::platform_layer {

// Belongs to one thread.
class NowAndThen {
 public:
  explicit NowAndThen(std::chrono::milliseconds interval) noexcept : interval_(interval) {}
  // Whether it is time; then not again for the interval.
  bool isDue() noexcept {
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return false;
    next_ = now + interval_;
    return true;
  }
  // At the next opportunity.
  void soon() noexcept { next_ = {}; }

 private:
  std::chrono::milliseconds interval_;
  std::chrono::steady_clock::time_point next_{};
};

}  // namespace CorvaneQueue::platform_layer
