#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Utility.h>

namespace CorvaneQueue {

template <class Self>
class UtilityForm : public DispatchForm<_Utility> {
  FORM_SELF

 public:
  FORM_METHOD1(Utility, Initialize, ProcessTrace)
  FORM_GET(Utility, UsesPublicQueues)
  FORM_LET(Utility, UsesPublicQueues)
  FORM_FUNCTION1(Utility, IDToString, ID)
  FORM_FUNCTION1(Utility, ParseQueuePathName, QueueName)
  FORM_FUNCTION1(Utility, FormatQueuePathName, QueueName)
  FORM_METHOD1(Utility, CreateQueue, QueueName)
  FORM_GET(Utility, SupportsPublicQueues)
  FORM_GET(Utility, SupportsPrivateQueues)
  FORM_FUNCTION1(Utility, GetBody, objMessage)
  FORM_GET(Utility, QueueStoreType)
  FORM_LET(Utility, QueueStoreType)
};

}  // namespace CorvaneQueue
