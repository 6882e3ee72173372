#include "SharedEvent.h"

#include "SharedSleep.h"

#include <limits>

namespace CorvaneQueue::platform_layer {

void SharedEvent::happened() noexcept {
  ++count;  // whoever is about to sleep finds it changed
  if (waiting != 0) wake(count, std::numeric_limits<int>::max());
}

void SharedEvent::await(std::uint32_t before, std::chrono::nanoseconds longest) noexcept {
  const Sleeper sleeper(waiting);
  sleepWhile(count, before, longest);
}

}  // namespace CorvaneQueue::platform_layer
