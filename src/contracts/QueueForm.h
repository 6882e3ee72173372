#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Queue.h>

namespace CorvaneQueue {

template <class Self>
class QueueForm : public DispatchForm<_Queue> {
  FORM_SELF

 public:
  FORM_GET(Queue, Journal)
  FORM_SET(Queue, Journal)
  FORM_GET(Queue, Messages)
  FORM_SET(Queue, Messages)
  FORM_GET(Queue, MsgType)
  FORM_LET(Queue, MsgType)
  FORM_GET(Queue, MsgID)
  FORM_LET(Queue, MsgID)
  FORM_GET(Queue, Object)
  FORM_LET(Queue, Object)
  FORM_GET(Queue, ObjectID)
  FORM_LET(Queue, ObjectID)
  FORM_GET(Queue, Name)
  FORM_GET(Queue, CompressMessages)
  FORM_GET(Queue, LastDocument)
  FORM_LET(Queue, QueueSize)
  FORM_GET(Queue, QueueSize)
  FORM_LET(Queue, JournalEnabled)
  FORM_GET(Queue, JournalEnabled)
  FORM_LET(Queue, JournalQuota)
  FORM_GET(Queue, JournalQuota)
  FORM_LET(Queue, Quota)
  FORM_GET(Queue, Quota)
  FORM_SET(Queue, ProcessTrace)
  FORM_METHOD2(Queue, Initialize, Name, IsJournal)
  FORM_FUNCTION(Queue, IsEmpty)
  FORM_METHOD(Queue, Purge)
  FORM_METHOD1(Queue, SendMessage, Message)
  FORM_METHOD1(Queue, SendDocument, RawDocument)
  FORM_METHOD1(Queue, AcknowledgeMessage, Message)
  FORM_METHOD1(Queue, AcknowledgeDocument, MessageID)
  FORM_METHOD(Queue, ReceiveEnable)
  FORM_METHOD(Queue, ReceiveDisable)
  FORM_FUNCTION(Queue, BeginTransaction)
  FORM_GET(Queue, Transaction)
  FORM_SET(Queue, Transaction)
  FORM_METHOD(Queue, Commit)
  FORM_METHOD(Queue, Abort)
  FORM_FUNCTION(Queue, ReceiveNext)
};

}  // namespace CorvaneQueue
