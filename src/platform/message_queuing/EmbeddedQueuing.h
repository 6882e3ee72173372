// Message Queuing, served by this machine's own queue service.
#pragma once

#include "QueuingServices.h"

#include <CorvaneQueue/storeCheck.h>

namespace CorvaneQueue::platform_layer {

class EmbeddedQueuing final : public QueuingServices {
 public:
  Ref<IMSMQQueueInfo> createQueueInfo() override;
  Ref<IMSMQMessage> createMessage() override;
  Ref<IMSMQEvent> createEvent() override;
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override;
  // Whether the store of the service is sound.
  StoreReport check(StoreCheck how);
};

}  // namespace CorvaneQueue::platform_layer
