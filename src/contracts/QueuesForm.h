#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Queues.h>

namespace CorvaneQueue {

template <class Self>
class QueuesForm : public DispatchForm<_Queues> {
  FORM_SELF

 public:
  FORM_METHOD(Queues, Refresh)
  FORM_FUNCTION1(Queues, Exists, Name)
  FORM_FUNCTION1(Queues, Add, Name)
  FORM_GET1(Queues, Item, vntIndexKey)
  FORM_GET(Queues, Count)
  FORM_METHOD1(Queues, Remove, vntIndexKey)
  FORM_GET(Queues, NewEnum)
};

}  // namespace CorvaneQueue
