#include "QueueAccounts.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

void QueueAccounts::begin() {
  constexpr std::size_t most = 64;
  const bool isKnown = knownAt_ != 0 && database_.commits() == knownAt_;
  if (!isKnown || accounts_.size() > most) accounts_.clear();
  for (Account& account : accounts_) account.isInWrite = false;
  knownAt_ = 0;
}

void QueueAccounts::store() {
  for (const Account& account : accounts_)
    if (account.isInWrite) queues_.setContent(account.queue);
  const auto commits = database_.commits();  // nobody else commits meanwhile
  next_ = commits ? *commits + 1 : 0;
}

QueueRecord& QueueAccounts::of(std::int64_t queue) {
  for (Account& account : accounts_)
    if (account.queue.id == queue) {
      account.isInWrite = true;
      return account.queue;
    }
  const auto found = queues_.find(queue);
  if (!found)
    queuingFailed(MQ_ERROR_QUEUE_DELETED,
                  u"The queue has been deleted; nothing was stored. Close its handles.");
  return accounts_.emplace_back(Account{*found, true}).queue;
}

void QueueAccounts::forget(std::int64_t queue) {
  std::erase_if(accounts_, [&](const Account& account) { return account.queue.id == queue; });
}

}  // namespace CorvaneQueue::platform_layer
