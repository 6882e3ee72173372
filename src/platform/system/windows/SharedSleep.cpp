// The system wakes threads that sleep on a number in their own process alone: who waits for another process
// looks again, in steps that are short.
#include "SharedSleep.h"

#include <windows.h>
#include <algorithm>
#include <climits>

namespace CorvaneQueue::platform_layer {

void sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value,
                std::chrono::nanoseconds time) noexcept {
  constexpr std::chrono::nanoseconds step = std::chrono::milliseconds(1);
  if (word != value || time.count() <= 0) return;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::min(time, step));
  ::WaitOnAddress(&word, &value, sizeof value, static_cast<DWORD>(left.count()));
}

long wake(std::atomic<std::uint32_t>& word, int count) noexcept {
  if (count == 1)
    ::WakeByAddressSingle(&word);
  else
    ::WakeByAddressAll(&word);
  return 0;
}

}  // namespace CorvaneQueue::platform_layer
