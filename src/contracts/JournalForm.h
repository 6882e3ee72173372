#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Journal.h>

namespace CorvaneQueue {

template <class Self>
class JournalForm : public DispatchForm<_Journal> {
  FORM_SELF

 public:
  FORM_GET(Journal, Messages)
  FORM_SET(Journal, Messages)
  FORM_METHOD(Journal, Purge)
};

}  // namespace CorvaneQueue
