#include "Queues.h"

#include "DbUtility.h"

namespace CorvaneQueue::facade {

Queues::Queues() : queues_(call<&IUtility::raw_GetQueues>(Ref<IUtility>(make<DbUtility>()))) {}

}  // namespace CorvaneQueue::facade
