#include "Turn.h"

#include "ByteLocks.h"
#include "Process.h"
#include "StoredText.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <ctime>

namespace CorvaneQueue::platform_layer {

namespace {

// Nobody is woken by a holder that dies.
constexpr std::chrono::nanoseconds longestSleep = std::chrono::milliseconds(5);

constexpr std::chrono::nanoseconds wakingUp = std::chrono::microseconds(200);

void sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value,
                std::chrono::nanoseconds time) noexcept {
  timespec limit{};
  limit.tv_nsec = time.count();
  ::syscall(SYS_futex, &word, FUTEX_WAIT, value, &limit, nullptr, 0);
}
bool wakeOne(std::atomic<std::uint32_t>& word) noexcept {
  return ::syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0) > 0;
}

}  // namespace

bool Turn::tryTake() {
  if (!tryLock(file_, {byte_, byte_}, ByteLock::Exclusive)) return false;
  isTaken_ = true;
  state_->holder = processNumber();
  state_->since = std::time(nullptr);
  return true;
}

bool Turn::take(Deadline deadline) {
  bool mayTry = state_->isAwaited == 0;  // else somebody is before this one
  while (true) {
    const std::uint32_t passed = state_->passed;
    if (mayTry && tryTake()) return true;
    // Free, but for somebody who has been woken: soon taken.
    std::chrono::nanoseconds time = !mayTry && state_->holder == 0 ? wakingUp : longestSleep;
    if (deadline) {
      time = std::min<std::chrono::nanoseconds>(time, *deadline - std::chrono::steady_clock::now());
      if (time.count() <= 0 && mayTry) return false;
    }
    if (time.count() > 0) {
      state_->isAwaited = 1;
      sleepWhile(state_->passed, passed, time);
    }
    mayTry = true;
  }
}

void Turn::pass() noexcept {
  if (!std::exchange(isTaken_, false)) return;
  state_->holder = 0;
  try {
    tryLock(file_, {byte_, byte_}, ByteLock::None);
  } catch (const Error&) {  // the file is closed or the lock is gone: nobody is kept waiting
  }
  const std::uint32_t passed = ++state_->passed;
  // Whoever sets it after this finds the count changed and does not sleep. There may be more than the one
  // that is woken; should that one have passed it on already, it has seen to them.
  if (state_->isAwaited.exchange(0) != 0 && wakeOne(state_->passed) && state_->passed == passed)
    state_->isAwaited = 1;
}

std::u16string Turn::holder() const {
  const std::int32_t process = state_->holder;
  if (process == 0) return u"another program has kept the file locked";
  const std::time_t since = state_->since;
  std::tm utc{};
  ::gmtime_r(&since, &utc);
  char time[16];
  std::strftime(time, sizeof time, "%H:%M:%S", &utc);
  return u"process " + decimal(process) + u" has been writing since " +
         std::u16string(time, time + std::char_traits<char>::length(time)) + u" UTC";
}

}  // namespace CorvaneQueue::platform_layer
