// The thread that objects live in, and the delivery of what calls back.
#pragma once

#include <CorvaneQueue/automation.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

namespace CorvaneQueue {

// One for each thread. Objects are used on the thread that created them, class objects and error information
// excepted: every other call, late-bound ones and Advise and Unadvise included, is refused with
// RPC_E_WRONG_THREAD before anything is done. AddRef, Release and QueryInterface are allowed from anywhere;
// what an object has armed or has a transaction open for is ended in its own thread, before the last Release.
// In a process that was forked off, the one thread goes on as the thread that called fork. Events are
// delivered on the thread of their object, and only inside pump().
class CORVANE_API Apartment {
 public:
  // Something that may call back: when `descriptor` (-1 for none) becomes readable, under Windows when that
  // handle is signalled, or after a wake, pump() runs `deliver`.
  struct Source {
    std::intptr_t descriptor;
    std::function<void()> deliver;
    bool isDue = false;
  };
  // Keeps a source armed until it is destroyed. Must end on the thread that armed it.
  class Armed {
   public:
    Armed() noexcept = default;
    // The next pump delivers; on the thread that armed it.
    void wake() noexcept {
      if (source_) source_->isDue = true;
    }

   private:
    friend class Apartment;
    std::shared_ptr<Source> source_;
  };

  // The calling thread's.
  static Apartment& current();

  Armed arm(Source source);
  // Waits until something can be delivered, at most `timeout` (negative: without end), and delivers
  // what is ready. Under Windows it serves the thread's window messages meanwhile. Returns how many sources
  // were delivered. Throws the error of a failed wait; and once the delivery is over, the exception of a
  // handler that threw in it (the first of several; all are in the log), or the error with which a
  // notification ended because its queue or its store is gone. An arrived document whose handler threw stays
  // with its queue object, which announces nothing more until it is told how to go on: see Queue::evtArrived.
  int pump(std::chrono::milliseconds timeout);
  // For what is called inside pump(): this comes out of the innermost one that is running. Without one
  // nothing happens.
  void failed(std::exception_ptr failure) noexcept;

  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

 private:
  Apartment();
  ~Apartment();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace CorvaneQueue
