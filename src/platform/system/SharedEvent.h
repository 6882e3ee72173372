// Something that processes wait for, which happens again and again.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace CorvaneQueue::platform_layer {

// In memory that all of them share, all zeros at first.
struct SharedEvent {
  std::atomic<std::uint32_t> count;    // of how often it has happened
  std::atomic<std::uint32_t> waiting;  // how many sleep, at most: some may have died

  void happened() noexcept;
  // Until it has happened after that count was read, or the time has passed.
  void await(std::uint32_t before, std::chrono::nanoseconds longest) noexcept;
};

}  // namespace CorvaneQueue::platform_layer
