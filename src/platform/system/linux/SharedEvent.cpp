#include "SharedEvent.h"

#include "Futex.h"

namespace CorvaneQueue::platform_layer {

void SharedEvent::happened() noexcept {
  ++count;  // whoever is about to sleep finds it changed
  if (waiting != 0) wake(count, INT_MAX);
}

void SharedEvent::await(std::uint32_t before, std::chrono::nanoseconds longest) noexcept {
  const Sleeper sleeper(waiting);
  sleepWhile(count, before, longest);
}

}  // namespace CorvaneQueue::platform_layer
