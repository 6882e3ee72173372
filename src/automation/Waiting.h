// How a thread waits for what the system tells.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

namespace CorvaneQueue {

// Waits until one of these is ready (-1: nothing to wait for), or the time has passed (negative: without
// end). Serves what else the system gives this thread to do; that may have changed what is to be waited for.
// Throws an Error.
struct Ready {
  bool isInterrupted = false;  // something else was served: nothing is known
  std::vector<bool> each;      // whether it is ready
};
Ready waitForAny(std::span<const std::intptr_t> descriptors, std::chrono::milliseconds timeout);

}  // namespace CorvaneQueue
