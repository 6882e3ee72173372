#include "Turn.h"

#include "Futex.h"
#include "Process.h"
#include "StoredText.h"

#include <pthread.h>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>

namespace CorvaneQueue::platform_layer {

namespace {

using namespace std::chrono_literals;

// Nobody is woken by a holder that dies.
constexpr std::chrono::nanoseconds longestSleep = 5ms;
// From then on newcomers stand back.
constexpr std::chrono::nanoseconds patience = 8ms;

std::chrono::nanoseconds now() noexcept { return std::chrono::steady_clock::now().time_since_epoch(); }

pthread_mutex_t* mutexOf(TurnLock& lock) noexcept {
  static_assert(sizeof(pthread_mutex_t) <= sizeof(TurnLock::system));
  return reinterpret_cast<pthread_mutex_t*>(lock.system);
}

}  // namespace

void Turn::prepare() noexcept {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  ::pthread_mutex_init(new (lock_->system) pthread_mutex_t, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
  state_->holder = 0;
  state_->waiting = 0;
  lock_->isWaking = 0;
  lock_->isOverdue = 0;
  lock_->isPrepared = 1;
}

bool Turn::tryTake() noexcept {
  if (lock_->isPrepared == 0) prepare();  // somebody has emptied the file
  const int result = ::pthread_mutex_trylock(mutexOf(*lock_));
  if (result == EOWNERDEAD) ::pthread_mutex_consistent(mutexOf(*lock_));
  if (result != 0 && result != EOWNERDEAD) return false;
  isTaken_ = true;
  state_->holder = processNumber();
  state_->since = std::time(nullptr);
  return true;
}

bool Turn::take(Deadline deadline) {
  if (lock_->isOverdue == 0 && tryTake()) return true;
  const auto start = now();
  bool isOverdue = false;
  const Sleeper sleeper(state_->waiting);
  while (true) {
    const std::uint32_t passed = state_->passed;
    // Whoever is asked to stand back tries again when the turn is passed on.
    if ((isOverdue || lock_->isOverdue == 0) && tryTake()) break;
    std::chrono::nanoseconds time = longestSleep;
    if (deadline) {
      time = std::min<std::chrono::nanoseconds>(time, *deadline - std::chrono::steady_clock::now());
      if (time.count() <= 0) {
        if (isOverdue) lock_->isOverdue = 0;
        return false;
      }
    }
    if (!isOverdue && now() - start > patience) {
      isOverdue = true;
      lock_->isOverdue = 1;
    }
    sleepWhile(state_->passed, passed, time);
    lock_->isWaking = 0;
  }
  if (isOverdue) lock_->isOverdue = 0;
  return true;
}

void Turn::pass() noexcept {
  if (!std::exchange(isTaken_, false)) return;
  state_->holder = 0;
  ::pthread_mutex_unlock(mutexOf(*lock_));
  ++state_->passed;  // whoever is about to sleep finds it changed
  if (state_->waiting != 0 && lock_->isWaking.exchange(1) == 0 && wake(state_->passed, 1) == 0)
    lock_->isWaking = 0;
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
