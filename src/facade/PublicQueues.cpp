#include "PublicQueues.h"

#include "DbUtility.h"

namespace CorvaneQueue {

PublicQueues::PublicQueues() : queues_(call<&IUtility::raw_GetQueues>(Ref<IUtility>(make<DbUtility>()))) {}

}  // namespace CorvaneQueue
