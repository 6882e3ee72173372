#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Message.h>

namespace CorvaneQueue {

template <class Self>
class MessageForm : public DispatchForm<_Message> {
  FORM_SELF

 public:
  FORM_GET(Message, ID)
  FORM_GET(Message, AppSpecific)
  FORM_GET(Message, ArrivedTime)
  FORM_GET(Message, Body)
  FORM_GET(Message, BodyLength)
  FORM_GET(Message, Label)
  FORM_GET(Message, SentTime)
  FORM_GET(Message, TimeToAcknowledge)
};

}  // namespace CorvaneQueue
