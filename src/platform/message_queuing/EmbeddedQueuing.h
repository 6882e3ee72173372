// Message Queuing, served by this machine's own queue service.
#pragma once

#include "MessageQueuing.h"

namespace CorvaneQueue::platform_layer {

class EmbeddedQueuing final : public MessageQueuing {
 public:
  Ref<IMSMQQueueInfo> createQueueInfo() override;
  Ref<IMSMQMessage> createMessage() override;
  Ref<IMSMQEvent> createEvent() override;
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override;
};

}  // namespace CorvaneQueue::platform_layer
