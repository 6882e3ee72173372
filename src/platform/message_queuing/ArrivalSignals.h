// How those who wait for messages learn that something has come: from any process, without asking again
// and again.
#pragma once

#include "FileWatcher.h"
#include "SharedCounts.h"

#include <CorvaneQueue/Apartment.h>
#include <CorvaneQueue/Error.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace CorvaneQueue::platform_layer {

// What there is for somebody who waits.
enum class Prospect {
  Nothing,
  HeldUp,  // messages are there, but others hold them
  Ready,
};

// Somebody who waits, in a call or with an armed notification.
struct Waiter {
  std::int64_t box = 0;
  // Throws an Error when nothing can come any more.
  std::function<Prospect()> look;
  // One of them is called once, inside Apartment::pump(), when there is something, or when it has failed.
  // Empty both to be left alone.
  std::function<void()> deliver;
  std::function<void(const Error& error)> fail;
  bool isSignalled = true;  // look at the next opportunity
};

// Of one thread and one storage directory. A box is signalled by writing to a file of its own; who waits
// watches that file, and is counted, as nothing is written when nobody waits. A signal that got lost with its
// sender's death is made up for by looking again from time to time, more often while messages are held by
// others: their death signals nothing.
class ArrivalSignals {
 public:
  // The counts must outlive it.
  ArrivalSignals(std::filesystem::path directory, SharedCounts& counts);
  ~ArrivalSignals() { endWatching(); }
  ArrivalSignals(const ArrivalSignals&) = delete;
  ArrivalSignals& operator=(const ArrivalSignals&) = delete;
  // Whether this one is among those who wait.
  bool isWatching() const noexcept { return watcher_.isOpen(); }

  // Something has come into the box, or become free in it.
  void signal(std::int64_t box);
  void forget(std::int64_t box) noexcept;

  using Deadline = std::optional<std::chrono::steady_clock::time_point>;
  // Waits until the waiter is ready; false when the deadline has passed. Armed waiters are not called.
  bool wait(Waiter& waiter, Deadline deadline);
  // Delivers to the waiter in a later pump() of this thread, once, unless it has gone by then.
  void arm(const std::shared_ptr<Waiter>& waiter);

 private:
  const File& signalFile(std::int64_t box);
  void watch(std::int64_t box);
  bool addWatch(std::int64_t box);
  void endWatching() noexcept;
  void listen();
  void takeSignals();
  void deliver();
  std::chrono::nanoseconds patience(Prospect seen) const noexcept;
  void lookAgainIn(std::chrono::nanoseconds time) noexcept;

  std::filesystem::path directory_;
  SharedCounts& counts_;
  std::unordered_map<std::int64_t, File> files_;
  FileWatcher watcher_;
  int process_ = 0;  // that opened it
  WakeTimer timer_;
  Deadline due_;                                   // of the timer
  std::unordered_map<std::int64_t, int> watches_;  // by box
  std::vector<std::weak_ptr<Waiter>> armed_;
  Apartment::Armed onSignal_;
  Apartment::Armed onTimer_;
  Apartment::Armed onWaiters_;
};

}  // namespace CorvaneQueue::platform_layer
