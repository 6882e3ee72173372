// Counts of what all processes have done with the messages of an installation.
#pragma once

#include "SharedPage.h"

#include <atomic>
#include <cstdint>

namespace CorvaneQueue::platform_layer {

class SharedCounts {
 public:
  // The file is made unless this user may not.
  explicit SharedCounts(const std::filesystem::path& file)
      : opened_(File::ifPermitted(file, File::Use::Create)), page_(opened_) {}
  // Of everything that was stored.
  std::uint64_t stored() const noexcept { return counts().stored.load(std::memory_order_acquire); }
  void addStored() noexcept { counts().stored.fetch_add(1, std::memory_order_acq_rel); }
  // Of every message that was held.
  std::uint64_t held() const noexcept { return counts().held.load(std::memory_order_acquire); }
  void addHeld() noexcept { counts().held.fetch_add(1, std::memory_order_acq_rel); }
  // Of those who wait to be signalled, at most: some may have died.
  bool isAnybodyWaiting() const noexcept { return counts().waiting != 0; }
  void addWaiting() noexcept { ++counts().waiting; }
  void removeWaiting() noexcept {
    std::uint64_t now = counts().waiting;
    while (now != 0 && !counts().waiting.compare_exchange_weak(now, now - 1)) {
    }
  }
  // There are no others but these.
  void countWaitingAnew(std::uint64_t count) noexcept { counts().waiting = count; }

 private:
  struct Counts {
    std::atomic<std::uint64_t> stored;
    std::atomic<std::uint64_t> held;
    std::atomic<std::uint64_t> waiting;
  };
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  Counts& counts() const noexcept {
    page_.mend();
    return *page_.get();
  }
  File opened_;
  SharedPage<Counts> page_;
};

}  // namespace CorvaneQueue::platform_layer
