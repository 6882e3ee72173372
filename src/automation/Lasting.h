// What the library keeps from its loading, or its first use, until it is unloaded.
#pragma once

#include "Object.h"

#include <pthread.h>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace CorvaneQueue {

// An object that is destroyed when the library is unloaded. A client that still holds objects when
// the process ends may use them after that: then the object stays as it is.
template <class T>
class Lasting {
 public:
  template <class... A>
  explicit Lasting(A&&... arguments) : object_(std::make_unique<T>(std::forward<A>(arguments)...)) {}
  ~Lasting() {
    if (liveObjects() != 0) static_cast<void>(object_.release());
  }
  T& operator*() const noexcept { return *object_; }
  T* operator->() const noexcept { return object_.get(); }

 private:
  std::unique_ptr<T> object_;
};

// A T for each thread that asks, destroyed with its thread or with this, whichever comes first. (An
// object that the language keeps for a thread would keep the library loaded until that thread ends.)
// Hold it in a Lasting.
template <class T>
class PerThread {
 public:
  PerThread() {
    if (pthread_key_create(&key_, [](void* slot) { static_cast<Slot*>(slot)->owner.end(slot); }) != 0)
      throw std::bad_alloc();
  }
  ~PerThread() { pthread_key_delete(key_); }
  PerThread(const PerThread&) = delete;
  PerThread& operator=(const PerThread&) = delete;

  // The calling thread's, made on its first call.
  T& current() {
    if (void* const slot = pthread_getspecific(key_)) return static_cast<Slot*>(slot)->value;
    auto made = std::make_unique<Slot>(*this);
    const std::lock_guard guard(mutex_);
    slots_.push_back(std::move(made));
    if (pthread_setspecific(key_, slots_.back().get()) != 0) {
      slots_.pop_back();
      throw std::bad_alloc();
    }
    return slots_.back()->value;
  }

 private:
  struct Slot {
    explicit Slot(PerThread& made) : owner(made) {}
    PerThread& owner;
    T value{};
  };
  void end(void* slot) noexcept {
    std::unique_ptr<Slot> ended;  // destroyed outside the lock
    const std::lock_guard guard(mutex_);
    for (auto& each : slots_) {
      if (each.get() != slot) continue;
      ended = std::exchange(each, std::move(slots_.back()));
      slots_.pop_back();
      return;
    }
  }

  pthread_key_t key_{};
  std::mutex mutex_;
  std::vector<std::unique_ptr<Slot>> slots_;
};

}  // namespace CorvaneQueue
