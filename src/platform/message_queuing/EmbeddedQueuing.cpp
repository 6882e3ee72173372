#include "EmbeddedQueuing.h"

#include "InstallationDirectory.h"
#include "QueuedMessage.h"
#include "QueueEvent.h"
#include "QueueInfo.h"
#include "QueueTransaction.h"

namespace CorvaneQueue::platform_layer {

Ref<IMSMQQueueInfo> EmbeddedQueuing::createQueueInfo() { return make<QueueInfo>(); }
Ref<IMSMQMessage> EmbeddedQueuing::createMessage() { return make<QueuedMessage>(); }
Ref<IMSMQEvent> EmbeddedQueuing::createEvent() { return make<QueueEvent>(); }
Ref<IMSMQCoordinatedTransactionDispenser> EmbeddedQueuing::createTransactionDispenser() {
  return make<TransactionDispenser>();
}

StoreReport EmbeddedQueuing::check(StoreCheck how) {
  return QueueStore(installationDirectory() / "msmq" / "storage", Database::IfMissing::ReadEmpty).check(how);
}

}  // namespace CorvaneQueue::platform_layer
