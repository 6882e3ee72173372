#include "PublicUtility.h"

#include "DbUtility.h"

namespace CorvaneQueue {

void PublicUtility::create(StringRef QueueName) {
  if (QueueStoreType() == u"db")
    make<DbUtility>()->CreateQueue(QueueName);
  else if (QueueStoreType() == u"msmq")
    createMessageQueue(QueueName);
}

}  // namespace CorvaneQueue
