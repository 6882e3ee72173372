// Message Queuing in a version that has no service for it.
#pragma once

#include "MessageQueuing.h"

namespace CorvaneQueue::platform_layer {

// Every creation fails with 0x80004001 and a description that says so.
class UnavailableQueuing final : public MessageQueuing {
 public:
  Ref<IMSMQQueueInfo> createQueueInfo() override;
  Ref<IMSMQMessage> createMessage() override;
  Ref<IMSMQEvent> createEvent() override;
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override;
};

}  // namespace CorvaneQueue::platform_layer
