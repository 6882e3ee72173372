#include "ArrivalSignals.h"

#include "Process.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {
using namespace std::chrono_literals;
// How long to wait before looking again without having been signalled.
constexpr std::chrono::nanoseconds ordinarily = 2s;
constexpr std::chrono::nanoseconds whileHeldUp = 250ms;
// Without a watcher, of which a user has a limited number (fs.inotify.max_user_instances).
constexpr std::chrono::nanoseconds withoutSignals = 20ms;
}  // namespace

ArrivalSignals::ArrivalSignals(std::filesystem::path directory, SharedCounts& counts)
    : directory_(std::move(directory)), counts_(counts) {}

const File& ArrivalSignals::signalFile(std::int64_t box) {
  const auto found = files_.find(box);
  if (found != files_.end()) return found->second;
  constexpr std::size_t most = 64;
  if (files_.size() >= most) files_.clear();
  return files_.emplace(box, File(directory_ / std::to_string(box), File::Use::Create)).first->second;
}

void ArrivalSignals::signal(std::int64_t box) {
  if (!counts_.isAnybodyWaiting()) return;
  // What was stored is stored: who cannot be woken looks by himself after a while.
  try {
    FileWatcher::tell(signalFile(box));
  } catch (const Error&) {
  }
}

void ArrivalSignals::forget(std::int64_t box) noexcept {
  files_.erase(box);
  removeFile(directory_ / std::to_string(box));
}

void ArrivalSignals::watch(std::int64_t box) {
  if (!watcher_.isOpen()) {
    if (!watcher_.open(directory_)) return;  // there are too many watchers: look often instead
    counts_.addWaiting();
    process_ = processNumber();
    if (timer_.isOpen()) listen();
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
  if (const auto watch = watcher_.watch(directory_ / std::to_string(box))) {
    watches_[box] = *watch;
    return true;
  }
  endWatching();
  return false;
}

void ArrivalSignals::endWatching() noexcept {
  if (!watcher_.isOpen()) return;
  onSignal_ = {};
  watcher_.close();
  watches_.clear();
  if (process_ == processNumber()) counts_.removeWaiting();  // else it is the parent's
}

void ArrivalSignals::listen() {
  onSignal_ = Apartment::current().arm({watcher_.native(), [this] {
                                          takeSignals();
                                          onWaiters_.wake();
                                        }});
  // Armed behind what wakes it, so that it delivers in the same pump, and to nobody twice in one.
  onWaiters_ = Apartment::current().arm({-1, [this] { deliver(); }});
  onWaiters_.wake();
}

void ArrivalSignals::takeSignals() {
  watcher_.take([this](FileWatcher::Change change) {
    const auto watch = change.watch ? std::ranges::find(watches_, *change.watch,
                                                        [](const auto& each) { return each.second; })
                                    : watches_.end();
    for (const auto& each : armed_)
      if (const auto waiter = each.lock())
        if (!change.watch || (watch != watches_.end() && waiter->box == watch->first))
          waiter->isSignalled = true;
    if (change.isOver && watch != watches_.end()) watches_.erase(watch);
  });
}

std::chrono::nanoseconds ArrivalSignals::patience(Prospect seen) const noexcept {
  if (!watcher_.isOpen()) return withoutSignals;
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
      watcher_.wait(left);
      takeSignals();
      // What an armed waiter of this thread was told meanwhile is looked at in the next pump.
      if (std::ranges::any_of(armed_, [](const auto& each) {
            const auto armed = each.lock();
            return armed && armed->isSignalled;
          }))
        onWaiters_.wake();
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
  timer_.set(time);
}

void ArrivalSignals::arm(const std::shared_ptr<Waiter>& waiter) {
  watch(waiter->box);
  if (!timer_.isOpen()) {
    timer_.open();
    onTimer_ = Apartment::current().arm({timer_.native(), [this] {
                                           timer_.take();
                                           due_.reset();
                                           for (const auto& each : armed_)
                                             if (const auto armed = each.lock()) armed->isSignalled = true;
                                           onWaiters_.wake();
                                         }});
    listen();
  }
  armed_.push_back(waiter);
  onWaiters_.wake();
  lookAgainIn(patience(Prospect::Nothing));
}

void ArrivalSignals::deliver() {
  std::erase_if(armed_, [](const auto& each) { return each.expired(); });
  std::vector<std::weak_ptr<Waiter>> signalled;  // who arms during a delivery waits for the next pump
  for (const auto& each : armed_) {
    const auto waiter = each.lock();
    if (waiter && waiter->isSignalled) signalled.push_back(each);
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
      onWaiters_.wake();  // the delivery may pump, and wait for what the others bring
      if (const auto fail = waiter->fail; failure && fail) fail(*failure);
      if (const auto run = waiter->deliver; !failure && run) run();
    }
    isAnyHeldUp = isAnyHeldUp || seen == Prospect::HeldUp;
  }
  if (!armed_.empty()) lookAgainIn(patience(isAnyHeldUp ? Prospect::HeldUp : Prospect::Nothing));
}

}  // namespace CorvaneQueue::platform_layer
