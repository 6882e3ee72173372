#include "Utility.h"

#include "DbUtility.h"

namespace CorvaneQueue::facade {

void Utility::create(StringRef QueueName) {
  if (QueueStoreType() == u"db")
    make<DbUtility>()->CreateQueue(QueueName);
  else if (QueueStoreType() == u"msmq")
    createMessageQueue(QueueName);
}

}  // namespace CorvaneQueue::facade
