#include "Turn.h"

#include "ByteLocks.h"
#include "Process.h"
#include "SharedSleep.h"
#include "StoredText.h"

#include <algorithm>
#include <ctime>

namespace CorvaneQueue::platform_layer {

namespace {

using namespace std::chrono_literals;

// Nobody is woken by a holder that dies.
constexpr std::chrono::nanoseconds longestSleep = 5ms;
// From then on newcomers stand back.
constexpr std::chrono::nanoseconds patience = 8ms;

std::chrono::nanoseconds now() noexcept { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace

void Turn::beginAnew() noexcept {
  state_->holder = 0;
  state_->waiting = 0;
  queue_->isWaking = 0;
  queue_->isOverdue = 0;
}

bool Turn::tryTake() {
  if (!tryLock(file_, {byte_, byte_}, ByteLock::Exclusive)) return false;
  isTaken_ = true;
  state_->holder = processNumber();
  state_->since = std::time(nullptr);
  return true;
}

bool Turn::take(Deadline deadline) {
  if (queue_->isOverdue == 0 && tryTake()) return true;
  const auto start = now();
  bool isOverdue = false;
  const Sleeper sleeper(state_->waiting);
  while (true) {
    const std::uint32_t passed = state_->passed;
    // Whoever is asked to stand back tries again when the turn is passed on.
    if ((isOverdue || queue_->isOverdue == 0) && tryTake()) break;
    std::chrono::nanoseconds time = longestSleep;
    if (deadline) {
      time = std::min<std::chrono::nanoseconds>(time, *deadline - std::chrono::steady_clock::now());
      if (time.count() <= 0) {
        if (isOverdue) queue_->isOverdue = 0;
        return false;
      }
    }
    if (!isOverdue && now() - start > patience) {
      isOverdue = true;
      queue_->isOverdue = 1;
    }
    sleepWhile(state_->passed, passed, time);
    queue_->isWaking = 0;
  }
  if (isOverdue) queue_->isOverdue = 0;
  return true;
}

void Turn::pass() noexcept {
  if (!std::exchange(isTaken_, false)) return;
  state_->holder = 0;
  try {
    tryLock(file_, {byte_, byte_}, ByteLock::None);
  } catch (const Error&) {  // the file is closed or the lock is gone: nobody is kept waiting
  }
  ++state_->passed;  // whoever is about to sleep finds it changed
  if (state_->waiting != 0 && queue_->isWaking.exchange(1) == 0 && wake(state_->passed, 1) == 0)
    queue_->isWaking = 0;
}

std::u16string Turn::holder() const {
  const std::int32_t process = state_->holder;
  if (process == 0) return u"another program has kept the file locked";
  const std::int64_t since = state_->since;
  const std::chrono::hh_mm_ss time{std::chrono::seconds(since % 86400)};
  const auto twoDigits = [](auto count) {
    const std::u16string digits = decimal(static_cast<std::int64_t>(count.count()));
    return digits.size() < 2 ? u"0" + digits : digits;
  };
  return u"process " + decimal(process) + u" has been writing since " + twoDigits(time.hours()) + u":" +
         twoDigits(time.minutes()) + u":" + twoDigits(time.seconds()) + u" UTC";
}

}  // namespace CorvaneQueue::platform_layer
