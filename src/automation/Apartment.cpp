#include "Lasting.h"

#include <CorvaneQueue/Apartment.h>

#include <poll.h>
#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace CorvaneQueue {

struct Apartment::State {
  std::vector<std::weak_ptr<Source>> sources;
  std::exception_ptr* failure = nullptr;  // of the innermost pump() that is running
};

void Apartment::failed(std::exception_ptr failure) noexcept {
  if (state_->failure != nullptr && *state_->failure == nullptr) *state_->failure = std::move(failure);
}

Apartment::Apartment() : state_(std::make_unique<State>()) {}
Apartment::~Apartment() = default;

Apartment& Apartment::current() {
  struct Owned {
    Owned() {}  // not an aggregate: only this class may make an apartment
    Apartment apartment;
  };
  static Lasting<PerThread<Owned>> apartments;
  return apartments->current().apartment;
}

Apartment::Armed Apartment::arm(Source source) {
  Armed armed;
  armed.source_ = std::make_shared<Source>(std::move(source));
  state_->sources.push_back(armed.source_);
  return armed;
}

namespace {
// For a time, failures go to this place.
class Innermost {
 public:
  Innermost(std::exception_ptr*& place, std::exception_ptr& failure)
      : place_(place), outer_(std::exchange(place, &failure)) {}
  ~Innermost() { place_ = outer_; }
  Innermost(const Innermost&) = delete;
  Innermost& operator=(const Innermost&) = delete;

 private:
  std::exception_ptr*& place_;
  std::exception_ptr* const outer_;
};
}  // namespace

int Apartment::pump(std::chrono::milliseconds timeout) {
  std::erase_if(state_->sources, [](const auto& source) { return source.expired(); });
  const std::vector<std::weak_ptr<Source>> waiting = state_->sources;
  std::vector<pollfd> descriptors;
  descriptors.reserve(waiting.size());
  for (const auto& source : waiting) {
    const auto held = source.lock();
    descriptors.push_back({held ? held->descriptor : -1, POLLIN, 0});
    if (held && held->isDue) timeout = std::chrono::milliseconds(0);
  }
  const auto start = std::chrono::steady_clock::now();
  while (true) {
    int left = -1;
    if (timeout.count() >= 0) {
      const auto passed =
          std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
      constexpr std::int64_t longest = 1 << 30;  // milliseconds that one wait can take
      left = static_cast<int>(std::clamp<std::int64_t>((timeout - passed).count(), 0, longest));
    }
    if (::poll(descriptors.data(), descriptors.size(), left) >= 0) break;
    if (errno != EINTR) throw Error(E_FAIL, {}, u"Waiting for events failed.");
  }
  int delivered = 0;
  std::exception_ptr failure;
  {
    const Innermost innermost(state_->failure, failure);
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
      const auto source = waiting[i].lock();  // an earlier delivery may have ended it
      if (!source || (!std::exchange(source->isDue, false) && descriptors[i].revents == 0)) continue;
      source->deliver();
      ++delivered;
    }
  }
  if (failure) std::rethrow_exception(failure);
  return delivered;
}

}  // namespace CorvaneQueue
