// The cursor of a handle, moved onto a message that was seen before.
#pragma once

#include "MSMQMessage.h"

namespace CorvaneQueue {

// At once where Message Queuing can seek, else by peeking from where the cursor stands. False when the
// message is no longer there.
bool moveOnto(const Ref<IMSMQQueue>& handle, const Ref<IMSMQMessage>& message);
// By the text of its identifier.
bool moveOnto(const Ref<IMSMQQueue>& handle, MSMQUtility& utility, const MSMQMessage& message);

}  // namespace CorvaneQueue
