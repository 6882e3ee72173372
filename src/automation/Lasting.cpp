#include "Lasting.h"

namespace CorvaneQueue {

namespace {
// Never destroyed: it must be there for whoever comes last.
struct Chain {
  std::recursive_mutex mutex;
  std::vector<detail::Kept*> kept;
};
alignas(Chain) unsigned char chainPlace[sizeof(Chain)];
Chain& chain() noexcept {
  static Chain* const made = new (chainPlace) Chain;
  return *made;
}
}  // namespace

namespace detail {

std::recursive_mutex& keptMutex() noexcept { return chain().mutex; }
void keep(Kept* kept) { chain().kept.push_back(kept); }

std::atomic<long>& threadSlots() noexcept {
  static std::atomic<long> count{0};
  return count;
}
long& ownThreadSlots() noexcept {
  thread_local long count = 0;
  return count;
}

}  // namespace detail

bool isIdle() noexcept { return liveObjects() == 0 && detail::threadSlots() == detail::ownThreadSlots(); }

void releaseLasting() noexcept {
  const std::lock_guard guard(chain().mutex);
  while (!chain().kept.empty()) {
    detail::Kept* const last = chain().kept.back();
    chain().kept.pop_back();
    last->release();
  }
  chain().kept = std::vector<detail::Kept*>();
}

}  // namespace CorvaneQueue
