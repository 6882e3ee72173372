#include "MSMQUtility.h"

#include "MSMQQueues.h"

namespace CorvaneQueue {

MSMQUtility::MSMQUtility() : UtilityRules(u"MSMQUtility") {}

Ref<IQueues> MSMQUtility::GetQueues() {
  const Ref<IQueues> queues = make<MSMQQueues>();
  call<&IQueues::raw_Refresh>(queues);
  return queues;
}

}  // namespace CorvaneQueue
