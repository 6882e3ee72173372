// What Message Queuing must offer: its creatable objects.
#pragma once

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

class QueuingServices {
 public:
  virtual ~QueuingServices() = default;
  virtual Ref<IMSMQQueueInfo> createQueueInfo() = 0;
  virtual Ref<IMSMQMessage> createMessage() = 0;
  virtual Ref<IMSMQEvent> createEvent() = 0;
  virtual Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() = 0;
};

}  // namespace CorvaneQueue
