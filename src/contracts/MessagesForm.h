#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Messages.h>

namespace CorvaneQueue {

template <class Self>
class MessagesForm : public DispatchForm<_Messages> {
  FORM_SELF

 public:
  FORM_GET1(Messages, Item, vntIndexKey)
  FORM_GET(Messages, Count)
  FORM_METHOD(Messages, Refresh)
  FORM_METHOD1(Messages, Remove, vntIndexKey)
  FORM_GET(Messages, NewEnum)
};

}  // namespace CorvaneQueue
