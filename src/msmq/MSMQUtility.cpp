#include "MSMQUtility.h"

#include "MSMQQueues.h"

namespace CorvaneQueue {

MSMQUtility::MSMQUtility() : UtilityRules(u"MSMQUtility") {}

void MSMQUtility::CreateQueue(StringRef QueueName) {
  errors().reported(u"CreateQueue", [&] { createMessageQueue(QueueName); });
}

Ref<IQueues> MSMQUtility::GetQueues() {
  const Ref<IQueues> queues = make<MSMQQueues>();
  call<&IQueues::raw_Refresh>(queues);
  return queues;
}

}  // namespace CorvaneQueue
