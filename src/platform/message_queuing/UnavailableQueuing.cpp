#include "UnavailableQueuing.h"

namespace CorvaneQueue::platform_layer {

namespace {
[[noreturn]] void unavailable() {
  throw Error(
      ErrorNumber::NotImplemented, u"MSMQ",
      u"Message Queuing is not part of this version; use the database store (QueueStoreType \"db\").");
}
}  // namespace

Ref<IMSMQQueueInfo> UnavailableQueuing::createQueueInfo() { unavailable(); }
Ref<IMSMQMessage> UnavailableQueuing::createMessage() { unavailable(); }
Ref<IMSMQEvent> UnavailableQueuing::createEvent() { unavailable(); }
Ref<IMSMQCoordinatedTransactionDispenser> UnavailableQueuing::createTransactionDispenser() { unavailable(); }

}  // namespace CorvaneQueue::platform_layer
