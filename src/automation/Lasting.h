// What the library keeps beyond the objects of its clients: made on first use, let go when the library is
// about to be unloaded. Nothing of it is destroyed at the end of a process, where threads may still work
// and clients' own objects may still end.
#pragma once

#include "Object.h"
#include "ThreadSlot.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace CorvaneQueue {

// Whether nothing alive needs the library: no object, no lock, and no other thread that has not ended
// since it used it.
bool isIdle() noexcept;
// Lets go of everything that is kept, the youngest first. Only when the library is idle; a later use makes
// it anew.
void releaseLasting() noexcept;

namespace detail {
// A link in the chain of what is kept.
class Kept {
 public:
  virtual void release() noexcept = 0;

 protected:
  ~Kept() = default;
};
std::recursive_mutex& keptMutex() noexcept;
void keep(Kept* kept);
// Slots of threads: all of them, and the calling thread's own.
std::atomic<long>& threadSlots() noexcept;
long& ownThreadSlots() noexcept;
}  // namespace detail

// One T. Declare it static: it needs no construction and no destruction of its own.
template <class T>
class Lasting final : detail::Kept {
 public:
  constexpr Lasting() noexcept = default;
  T& operator*() { return *get(); }
  T* operator->() { return get(); }

 private:
  T* get() {
    if (T* const object = object_.load(std::memory_order_acquire)) return object;
    const std::lock_guard guard(detail::keptMutex());
    if (T* const object = object_.load(std::memory_order_acquire)) return object;
    auto made = std::make_unique<T>();
    detail::keep(this);
    object_.store(made.get(), std::memory_order_release);
    return made.release();
  }
  void release() noexcept final { const std::unique_ptr<T> released(object_.exchange(nullptr)); }
  std::atomic<T*> object_{nullptr};
};

// A T for each thread that asks, destroyed with its thread or with this, whichever comes first. (An
// object that the language keeps for a thread would keep the library loaded until that thread ends.)
// Hold it in a Lasting.
template <class T>
class PerThread {
 public:
  PerThread()
      : slot_([](void* slot) {
          if (!isProcessEnding()) static_cast<Slot*>(slot)->owner.end(slot);
        }) {}
  ~PerThread() {
    detail::threadSlots() -= static_cast<long>(slots_.size());
    detail::ownThreadSlots() -= static_cast<long>(slots_.size());  // there are no others any more
  }
  PerThread(const PerThread&) = delete;
  PerThread& operator=(const PerThread&) = delete;

  // The calling thread's, made on its first call.
  T& current() {
    if (void* const slot = slot_.get()) return static_cast<Slot*>(slot)->value;
    auto made = std::make_unique<Slot>(*this);
    const std::lock_guard guard(mutex_);
    slots_.push_back(std::move(made));
    if (!slot_.set(slots_.back().get())) {
      slots_.pop_back();
      throw std::bad_alloc();
    }
    ++detail::threadSlots();
    ++detail::ownThreadSlots();
    return slots_.back()->value;
  }

 private:
  struct Slot {
    explicit Slot(PerThread& made) : owner(made) {}
    PerThread& owner;
    T value{};
  };
  void end(void* slot) noexcept {
    {
      std::unique_ptr<Slot> ended;  // destroyed outside the lock
      const std::lock_guard guard(mutex_);
      for (auto& each : slots_) {
        if (each.get() != slot) continue;
        ended = std::move(each);
        each = std::move(slots_.back());
        slots_.pop_back();
        break;
      }
    }
    --detail::threadSlots();  // the last: this may be what the unloading of the library waited for
  }

  ThreadSlot slot_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Slot>> slots_;
};

}  // namespace CorvaneQueue
