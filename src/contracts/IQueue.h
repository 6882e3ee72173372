// Back-end interface of one queue.
#pragma once

#include "IJournal.h"

#include <CorvaneQueue/Host.h>

namespace CorvaneQueue {

struct IQueue : IDispatch {
  virtual HRESULT CORVANE_CALL get_Journal(IJournal** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Journal(IJournal* value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_MsgType(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_MsgType(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_MsgID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_MsgID(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Object(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Object(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ObjectID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_ObjectID(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Name(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_CompressMessages(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_LastDocument(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_QueueSize(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_QueueSize(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_JournalEnabled(VARIANT_BOOL value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalEnabled(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_JournalQuota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalQuota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Quota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Quota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_ProcessTrace(_ProcessTrace* value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Initialize(BSTR Name, VARIANT_BOOL IsJournal) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Messages(IMessages** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_IsEmpty(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Purge() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_SendMessage(IMessage* Message) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_SendDocument(BSTR RawDocument) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_AcknowledgeMessage(IMessage* Message) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_AcknowledgeDocument(BSTR MessageID) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_BeginTransaction(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Commit() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Abort() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ReceiveNext(IMessage** result) noexcept = 0;
};

inline constexpr std::array iQueueMembers{
    get<&IQueue::get_Journal>(1, u"Journal"),
    set<&IQueue::putref_Journal>(1, u"Journal"),
    get<&IQueue::get_MsgType>(2, u"MsgType"),
    let<&IQueue::put_MsgType>(2, u"MsgType"),
    get<&IQueue::get_MsgID>(3, u"MsgID"),
    let<&IQueue::put_MsgID>(3, u"MsgID"),
    get<&IQueue::get_Object>(4, u"Object"),
    let<&IQueue::put_Object>(4, u"Object"),
    get<&IQueue::get_ObjectID>(5, u"ObjectID"),
    let<&IQueue::put_ObjectID>(5, u"ObjectID"),
    get<&IQueue::get_Name>(0, u"Name"),
    get<&IQueue::get_CompressMessages>(6, u"CompressMessages"),
    get<&IQueue::get_LastDocument>(7, u"LastDocument"),
    let<&IQueue::put_QueueSize>(8, u"QueueSize", "", {u"QueueSize"}),
    get<&IQueue::get_QueueSize>(8, u"QueueSize"),
    let<&IQueue::put_JournalEnabled>(9, u"JournalEnabled"),
    get<&IQueue::get_JournalEnabled>(9, u"JournalEnabled"),
    let<&IQueue::put_JournalQuota>(10, u"JournalQuota"),
    get<&IQueue::get_JournalQuota>(10, u"JournalQuota"),
    let<&IQueue::put_Quota>(11, u"Quota"),
    get<&IQueue::get_Quota>(11, u"Quota"),
    set<&IQueue::putref_ProcessTrace>(12, u"ProcessTrace"),
    method<&IQueue::raw_Initialize>(13, u"Initialize", "", {u"Name", u"IsJournal"}),
    get<&IQueue::get_Messages>(14, u"Messages"),
    function<&IQueue::raw_IsEmpty>(15, u"IsEmpty"),
    method<&IQueue::raw_Purge>(16, u"Purge"),
    method<&IQueue::raw_SendMessage>(17, u"SendMessage", "", {u"Message"}),
    method<&IQueue::raw_SendDocument>(18, u"SendDocument", "", {u"RawDocument"}),
    method<&IQueue::raw_AcknowledgeMessage>(19, u"AcknowledgeMessage", "", {u"Message"}),
    method<&IQueue::raw_AcknowledgeDocument>(20, u"AcknowledgeDocument", "", {u"MessageID"}).optional(1),
    function<&IQueue::raw_BeginTransaction>(21, u"BeginTransaction"),
    method<&IQueue::raw_Commit>(22, u"Commit"),
    method<&IQueue::raw_Abort>(23, u"Abort"),
    function<&IQueue::raw_ReceiveNext>(24, u"ReceiveNext"),
};

template <>
struct InterfaceTraits<IQueue> {
  static constexpr IID iid = {0x5fae6b59, 0x914f, 0x4b6e, {0x9b, 0x1b, 0x3b, 0xb3, 0x27, 0x6f, 0x85, 0xe9}};
  static constexpr const char16_t* name = u"IQueue";
  static constexpr std::span<const Member> members = iQueueMembers;
};

template <class Self>
class IQueueForm : public DispatchForm<IQueue> {
  FORM_SELF

 public:
  FORM_GET(IQueue, Journal)
  FORM_SET(IQueue, Journal)
  FORM_GET(IQueue, MsgType)
  FORM_LET(IQueue, MsgType)
  FORM_GET(IQueue, MsgID)
  FORM_LET(IQueue, MsgID)
  FORM_GET(IQueue, Object)
  FORM_LET(IQueue, Object)
  FORM_GET(IQueue, ObjectID)
  FORM_LET(IQueue, ObjectID)
  FORM_GET(IQueue, Name)
  FORM_GET(IQueue, CompressMessages)
  FORM_GET(IQueue, LastDocument)
  FORM_LET(IQueue, QueueSize)
  FORM_GET(IQueue, QueueSize)
  FORM_LET(IQueue, JournalEnabled)
  FORM_GET(IQueue, JournalEnabled)
  FORM_LET(IQueue, JournalQuota)
  FORM_GET(IQueue, JournalQuota)
  FORM_LET(IQueue, Quota)
  FORM_GET(IQueue, Quota)
  FORM_SET(IQueue, ProcessTrace)
  FORM_METHOD2(IQueue, Initialize, Name, IsJournal)
  FORM_GET(IQueue, Messages)
  FORM_FUNCTION(IQueue, IsEmpty)
  FORM_METHOD(IQueue, Purge)
  FORM_METHOD1(IQueue, SendMessage, Message)
  FORM_METHOD1(IQueue, SendDocument, RawDocument)
  FORM_METHOD1(IQueue, AcknowledgeMessage, Message)
  FORM_METHOD1(IQueue, AcknowledgeDocument, MessageID)
  FORM_FUNCTION(IQueue, BeginTransaction)
  FORM_METHOD(IQueue, Commit)
  FORM_METHOD(IQueue, Abort)
  FORM_FUNCTION(IQueue, ReceiveNext)
};

}  // namespace CorvaneQueue
