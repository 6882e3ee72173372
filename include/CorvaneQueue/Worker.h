// A worker: takes the documents of a queue one after the other and survives bad ones.
#pragma once

#include <CorvaneQueue/client.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>

namespace CorvaneQueue {

struct WorkerDocument {
  String ID;     // as lists show it
  String Label;  // empty on the Message Queuing store, where arrivals tell none
  String Body;
  std::int32_t attempt = 1;  // of this document, by any worker
};

// Thrown by a handler that can do nothing for any document: this one goes back, the attempt does not count,
// and the worker ends with this error.
class StopWorker : public Error {
 public:
  explicit StopWorker(const Text& why)
      : Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Worker", String(StringRef(why))) {}
};

struct WorkerOptions {
  // After so many failures a document goes to the queue NAME.failed, which is made when it is needed.
  std::int32_t attempts = 5;
  // Between a failure and the next attempt; meanwhile this worker takes nothing.
  std::chrono::milliseconds pause{1000};
  // Between two looks at an empty queue of the database store, at most. What is stored there wakes it.
  std::chrono::milliseconds longestLook{250};
};

// Documents arrive on the Message Queuing store, and are looked for on the database store whenever something
// is stored there. The handler is called for each; when it returns, the document is acknowledged. When
// it throws, the document goes back, the log tells why, with queue and identifier, and it is tried again
// after a pause, before all later ones. Attempts are counted in the store: also one that the process did not
// survive. One that cannot be read counts as failed; a damaged one stays damaged in NAME.failed. For more at
// a time make more workers, each in a thread or a process of its own.
class CORVANE_API Worker {
 public:
  using Handler = std::function<void(const WorkerDocument& document)>;
  Worker(const Text& queue, Handler handler, WorkerOptions options = {});
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Works in the calling thread, which is the one that made it, until it is asked to stop: after the document
  // in hand, within a quarter of a second otherwise. Throws an Error when the store cannot be used.
  void run(std::stop_token stop);
  // The same until nothing waits.
  void runUntilEmpty(std::stop_token stop = {});
  // How many documents were acknowledged, and how many went to NAME.failed.
  std::int64_t done() const noexcept;
  std::int64_t failed() const noexcept;

 private:
  class Work;
  std::unique_ptr<Work> work_;
};

}  // namespace CorvaneQueue
