#include "SharedSleep.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <ctime>

namespace CorvaneQueue::platform_layer {

void sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value,
                std::chrono::nanoseconds time) noexcept {
  timespec limit{};
  limit.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  limit.tv_nsec = (time % std::chrono::seconds(1)).count();
  ::syscall(SYS_futex, &word, FUTEX_WAIT, value, &limit, nullptr, 0);
}
long wake(std::atomic<std::uint32_t>& word, int count) noexcept {
  return ::syscall(SYS_futex, &word, FUTEX_WAKE, count, nullptr, nullptr, 0);
}

}  // namespace CorvaneQueue::platform_layer
