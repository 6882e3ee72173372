// The utility of the Message Queuing store.
#pragma once

#include "IUtility.h"
#include "Object.h"
#include "UtilityRules.h"

namespace CorvaneQueue {

class MSMQUtility final : public Object<MSMQUtility, IUtilityForm<MSMQUtility>>, public UtilityRules {
 public:
  MSMQUtility();
  ~MSMQUtility() = default;

  // The refreshed list of local queues.
  Ref<IQueues> GetQueues();

  // Forms that differ from plain forwarding. Throws 13 for an object that is not a Message Queuing message.
  Variant IUtility_GetBody(const Ref<IDispatch>& objMessage) {
    return GetBody(query<IMSMQMessage>(objMessage.get()).get());
  }
  void IUtility_QueueStoreType_Let(StringRef value) { storeQueueStoreType(value, u"CorvaneQueue.DbUtility"); }

 private:
  // Always in Message Queuing, whatever store is configured.
  void create(StringRef QueueName) override { createMessageQueue(QueueName); }
};

}  // namespace CorvaneQueue
