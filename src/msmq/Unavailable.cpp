#include "MSMQQueue.h"
#include "MSMQQueues.h"

namespace CorvaneQueue {

namespace {
[[noreturn]] void unavailable(const char16_t* source) {
  throw Error(ErrorNumber::NotImplemented, source,
              u"The queue store \"msmq\" is not part of this version; set QueueStoreType to \"db\".");
}
}  // namespace

Ref<IQueue> createMSMQQueue() { unavailable(u"CorvaneQueue.MSMQQueue"); }
Ref<IQueues> createMSMQQueues() { unavailable(u"CorvaneQueue.MSMQQueues"); }

}  // namespace CorvaneQueue
