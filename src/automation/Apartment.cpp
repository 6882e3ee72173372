#include "Lasting.h"
#include "Waiting.h"

#include <CorvaneQueue/Apartment.h>

#include <algorithm>
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
  using std::chrono::milliseconds;
  const auto start = std::chrono::steady_clock::now();
  const auto left = [&] {
    const auto passed = std::chrono::ceil<milliseconds>(std::chrono::steady_clock::now() - start);
    return timeout.count() < 0 ? timeout : std::max(timeout - passed, milliseconds(0));
  };
  std::vector<std::weak_ptr<Source>> waiting;
  Ready answered{true, {}};
  for (auto time = timeout; answered.isInterrupted; time = left()) {
    std::erase_if(state_->sources, [](const auto& source) { return source.expired(); });
    waiting = state_->sources;
    std::vector<std::intptr_t> descriptors;
    descriptors.reserve(waiting.size());
    for (const auto& source : waiting) {
      const auto held = source.lock();
      descriptors.push_back(held ? held->descriptor : -1);
      if (held && held->isDue) time = milliseconds(0);
    }
    answered = waitForAny(descriptors, time);
  }
  const std::vector<bool>& ready = answered.each;
  int delivered = 0;
  std::exception_ptr failure;
  {
    const Innermost innermost(state_->failure, failure);
    for (std::size_t i = 0; i < ready.size(); ++i) {
      const auto source = waiting[i].lock();  // an earlier delivery may have ended it
      if (!source || (!std::exchange(source->isDue, false) && !ready[i])) continue;
      source->deliver();
      ++delivered;
    }
  }
  if (failure) std::rethrow_exception(failure);
  return delivered;
}

}  // namespace CorvaneQueue
