// What queues have in them, as writes change it.
#pragma once

#include "QueueTable.h"

#include <deque>

namespace CorvaneQueue::platform_layer {

// Of one session. Reading what is in a queue costs a tenth of a send: as long as nobody else commits it is
// known from the write before. A write that fails leaves nothing known.
class QueueAccounts {
 public:
  // Both must outlive it.
  QueueAccounts(Database& database, QueueTable& queues) noexcept : database_(database), queues_(queues) {}

  // Inside a write, at its beginning and at its end.
  void begin();
  void store();
  // The write has been committed.
  void stored() noexcept { knownAt_ = next_; }
  // Inside a write: a queue that it has to do with, as it is by now. Throws MQ_ERROR_QUEUE_DELETED. Stays
  // until the next write.
  QueueRecord& of(std::int64_t queue);
  void forget(std::int64_t queue);

 private:
  struct Account {
    QueueRecord queue;
    bool isInWrite = false;
  };
  Database& database_;
  QueueTable& queues_;
  std::deque<Account> accounts_;
  std::uint64_t knownAt_ = 0;  // good as long as this is the last commit of all; 0 for never
  std::uint64_t next_ = 0;     // the number of the commit that the write ends with, or 0
};

}  // namespace CorvaneQueue::platform_layer
