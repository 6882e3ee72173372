#include "ArrivalSignals.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {
using namespace std::chrono_literals;
// How long to wait before looking again without having been signalled.
constexpr std::chrono::nanoseconds ordinarily = 2s;
constexpr std::chrono::nanoseconds whileHeldUp = 250ms;
// Without a watcher, of which a user has a limited number (fs.inotify.max_user_instances).
constexpr std::chrono::nanoseconds withoutSignals = 20ms;
}  // namespace

ArrivalSignals::ArrivalSignals(std::filesystem::path directory) : directory_(std::move(directory)) {}

const FileDescriptor& ArrivalSignals::signalFile(std::int64_t box) {
  const auto found = files_.find(box);
  if (found != files_.end()) return found->second;
  constexpr std::size_t most = 64;
  if (files_.size() >= most) files_.clear();
  return files_.emplace(box, FileDescriptor(directory_ / std::to_string(box), O_WRONLY | O_CREAT))
      .first->second;
}

void ArrivalSignals::signal(std::int64_t box) {
  // What was stored is stored: who cannot be woken looks by himself after a while.
  try {
    const char byte = 1;
    static_cast<void>(::pwrite(signalFile(box).get(), &byte, 1, 0) == 1);
  } catch (const Error&) {
  }
}

void ArrivalSignals::forget(std::int64_t box) noexcept {
  files_.erase(box);
  std::error_code ignored;
  std::filesystem::remove(directory_ / std::to_string(box), ignored);
}

void ArrivalSignals::watch(std::int64_t box) {
  if (watcher_.get() < 0) {
    watcher_ = FileDescriptor::adopt(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (watcher_.get() < 0) return;  // there are too many watchers: look often instead
    if (timer_.get() >= 0) listen();
    for (const auto& each : armed_)
      if (const auto waiter = each.lock(); waiter && !addWatch(waiter->box)) return;
  }
  if (!watches_.contains(box)) addWatch(box);
}

bool ArrivalSignals::addWatch(std::int64_t box) {
  try {
    static_cast<void>(signalFile(box));
  } catch (const NotPermitted&) {  // who may only read takes it as it is
  }
  const int watch = ::inotify_add_watch(watcher_.get(), (directory_ / std::to_string(box)).c_str(),
                                        IN_MODIFY | IN_DELETE_SELF | IN_ATTRIB);
  if (watch >= 0) {
    watches_[box] = watch;
    return true;
  }
  onSignal_ = {};
  watcher_ = FileDescriptor();
  watches_.clear();
  return false;
}

void ArrivalSignals::listen() {
  onSignal_ = Apartment::current().arm({watcher_.get(), [this] {
                                          takeSignals();
                                          deliver(LookFor::Signalled);
                                        }});
}

void ArrivalSignals::takeSignals() {
  alignas(inotify_event) char events[4096];
  while (true) {
    const ssize_t size = ::read(watcher_.get(), events, sizeof events);
    if (size <= 0) return;
    for (ssize_t at = 0; at < size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(events + at);
      at += static_cast<ssize_t>(sizeof *event + event->len);
      const auto watch = std::ranges::find(watches_, event->wd, [](const auto& each) { return each.second; });
      const bool isLost = (event->mask & IN_Q_OVERFLOW) != 0;
      for (const auto& each : armed_)
        if (const auto waiter = each.lock())
          if (isLost || (watch != watches_.end() && waiter->box == watch->first)) waiter->isSignalled = true;
      if ((event->mask & IN_IGNORED) != 0 && watch != watches_.end()) watches_.erase(watch);
    }
  }
}

std::chrono::nanoseconds ArrivalSignals::patience(Prospect seen) const noexcept {
  if (watcher_.get() < 0) return withoutSignals;
  return seen == Prospect::HeldUp ? whileHeldUp : ordinarily;
}

bool ArrivalSignals::wait(Waiter& waiter, Deadline deadline) {
  Prospect seen = waiter.look();
  if (seen == Prospect::Ready) return true;
  bool isWatched = false;
  while (true) {
    const auto now = std::chrono::steady_clock::now();
    if (deadline && *deadline <= now) return false;
    if (std::exchange(isWatched, true)) {
      const std::chrono::nanoseconds longest = patience(seen);
      const auto left = deadline ? std::min<std::chrono::nanoseconds>(*deadline - now, longest) : longest;
      timespec time{};
      time.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(left).count();
      time.tv_nsec = (left % 1s).count();
      pollfd descriptor{watcher_.get(), POLLIN, 0};
      if (::ppoll(&descriptor, 1, &time, nullptr) < 0 && errno != EINTR)
        throwSystemError(u"Waiting for messages in", directory_);
      takeSignals();
      // What an armed waiter of this thread was told meanwhile is looked at in the next pump.
      if (std::ranges::any_of(armed_, [](const auto& each) {
            const auto armed = each.lock();
            return armed && armed->isSignalled;
          }))
        onArming_.wake();
    } else {
      watch(waiter.box);  // before the last look, so that nothing comes unnoticed
    }
    seen = waiter.look();
    if (seen == Prospect::Ready) return true;
  }
}

// Unless that is due earlier anyway: what is told all the time must not put off what waits for the timer.
void ArrivalSignals::lookAgainIn(std::chrono::nanoseconds time) noexcept {
  const auto at = std::chrono::steady_clock::now() + time;
  if (due_ && *due_ <= at) return;
  due_ = at;
  itimerspec due{};
  due.it_value.tv_sec = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  due.it_value.tv_nsec = (time % 1s).count();
  ::timerfd_settime(timer_.get(), 0, &due, nullptr);
}

void ArrivalSignals::arm(const std::shared_ptr<Waiter>& waiter) {
  watch(waiter->box);
  if (timer_.get() < 0) {
    timer_ = FileDescriptor::adopt(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    if (timer_.get() < 0) throwSystemError(u"Waiting for messages in", directory_);
    if (watcher_.get() >= 0) listen();
    onTimer_ =
        Apartment::current().arm({timer_.get(), [this] {
                                    std::uint64_t expirations = 0;
                                    static_cast<void>(::read(timer_.get(), &expirations, sizeof expirations));
                                    due_.reset();
                                    deliver(LookFor::All);
                                  }});
    onArming_ = Apartment::current().arm({-1, [this] { deliver(LookFor::Signalled); }});
  }
  armed_.push_back(waiter);
  onArming_.wake();
  lookAgainIn(patience(Prospect::Nothing));
}

void ArrivalSignals::deliver(LookFor those) {
  std::erase_if(armed_, [](const auto& each) { return each.expired(); });
  std::vector<std::weak_ptr<Waiter>> signalled;  // who arms during a delivery waits for the next pump
  for (const auto& each : armed_) {
    const auto waiter = each.lock();
    if (!waiter) continue;
    waiter->isSignalled = waiter->isSignalled || those == LookFor::All;
    if (waiter->isSignalled) signalled.push_back(each);
  }
  bool isAnyHeldUp = false;
  for (const auto& each : signalled) {
    const auto waiter = each.lock();
    const auto isIt = [&](const auto& armed) { return armed.lock() == waiter; };
    // A delivery before may have let go of it, or pumped: then it has been looked at already.
    if (!waiter || std::ranges::none_of(armed_, isIt) || !std::exchange(waiter->isSignalled, false)) continue;
    Prospect seen = Prospect::Nothing;
    std::optional<Error> failure;
    try {
      seen = waiter->look();
    } catch (...) {
      failure = Error::current();
    }
    if (seen == Prospect::Ready || failure) {
      std::erase_if(armed_, isIt);
      onArming_.wake();  // the delivery may pump, and wait for what the others bring
      if (const auto fail = waiter->fail; failure && fail) fail(*failure);
      if (const auto run = waiter->deliver; !failure && run) run();
    }
    isAnyHeldUp = isAnyHeldUp || seen == Prospect::HeldUp;
  }
  if (!armed_.empty()) lookAgainIn(patience(isAnyHeldUp ? Prospect::HeldUp : Prospect::Nothing));
}

}  // namespace CorvaneQueue::platform_layer
