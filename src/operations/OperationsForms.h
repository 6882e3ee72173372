#pragma once

#include "FormMembers.h"

#include <CorvaneQueue/Operations.h>

namespace CorvaneQueue {

template <class Self>
class FilterForm : public DispatchForm<_Filter> {
  FORM_SELF

 public:
  FORM_METHOD3(Filter, Where, Field, Test, Value)
  FORM_GET(Filter, Text)
  FORM_LET(Filter, Text)
};

template <class Self>
class DocumentForm : public DispatchForm<_Document> {
  FORM_SELF

 public:
  FORM_GET(Document, ID)
  FORM_GET(Document, Label)
  FORM_GET(Document, MsgType)
  FORM_GET(Document, MsgID)
  FORM_GET(Document, Object)
  FORM_GET(Document, ObjectID)
  FORM_GET(Document, SentTime)
  FORM_GET(Document, AcknowledgedTime)
  FORM_GET(Document, Length)
  FORM_GET(Document, Failure)
  FORM_GET(Document, Body)
};

template <class Self>
class DocumentsForm : public DispatchForm<_Documents> {
  FORM_SELF

 public:
  FORM_GET1(Documents, Item, vntIndexKey)
  FORM_GET(Documents, Count)
  FORM_GET(Documents, NewEnum)
  FORM_FUNCTION(Documents, NextPage)
  FORM_GET(Documents, PageSize)
  FORM_LET(Documents, PageSize)
  FORM_GET(Documents, Backward)
  FORM_LET(Documents, Backward)
  FORM_GET(Documents, Position)
  FORM_LET(Documents, Position)
};

template <class Self>
class StatisticsForm : public DispatchForm<_Statistics> {
  FORM_SELF

 public:
  FORM_GET(Statistics, Queue)
  FORM_GET(Statistics, Waiting)
  FORM_GET(Statistics, Held)
  FORM_GET(Statistics, Acknowledged)
  FORM_GET(Statistics, WaitingBytes)
  FORM_GET(Statistics, AcknowledgedBytes)
  FORM_GET(Statistics, OldestWaiting)
  FORM_GET(Statistics, LastSent)
  FORM_GET(Statistics, LastAcknowledged)
  FORM_GET(Statistics, Quota)
  FORM_GET(Statistics, JournalQuota)
  FORM_GET(Statistics, JournalSeconds)
  FORM_GET(Statistics, JournalCount)
  FORM_GET(Statistics, JournalKilobytes)
};

template <class Self>
class OperationsForm : public DispatchForm<_Operations> {
  FORM_SELF

 public:
  FORM_FUNCTION(Operations, NewFilter)
  FORM_FUNCTION1(Operations, Statistics, Queue)
  FORM_FUNCTION3(Operations, Search, Queue, IsJournal, Filter)
  FORM_FUNCTION3(Operations, Delete, Queue, IsJournal, Filter)
  FORM_FUNCTION2(Operations, Acknowledge, Queue, Filter)
  FORM_FUNCTION4(Operations, Move, Queue, IsJournal, ToQueue, Filter)
  FORM_FUNCTION2(Operations, Redrive, Queue, Filter)
  FORM_FUNCTION4(Operations, Copy, Queue, IsJournal, ToQueue, Filter)
  FORM_FUNCTION4(Operations, Export, Queue, IsJournal, Filter, File)
  FORM_FUNCTION2(Operations, Import, File, ToQueue)
  FORM_FUNCTION4(Operations, Prune, Queue, OlderThanSeconds, KeepCount, KeepKilobytes)
  FORM_METHOD4(Operations, SetJournalRule, Queue, OlderThanSeconds, KeepCount, KeepKilobytes)
  FORM_METHOD(Operations, Compact)
  FORM_METHOD2(Operations, DeleteQueue, Queue, EvenIfNotEmpty)
  FORM_FUNCTION(Operations, Verify)
  FORM_METHOD1(Operations, Backup, Directory)
  FORM_METHOD1(Operations, Restore, Directory)
  FORM_METHOD(Operations, Cancel)
  FORM_GET(Operations, Before)
  FORM_GET(Operations, StartsAnew)
  FORM_LET(Operations, StartsAnew)
  FORM_GET(Operations, Held)
  FORM_GET(Operations, Damaged)
  FORM_FUNCTION2(Operations, Send, Queue, Document)
  FORM_METHOD2(Operations, SetCompressMessages, Queue, Value)
  FORM_GET(Operations, CodePage)
  FORM_LET(Operations, CodePage)
};

}  // namespace CorvaneQueue
