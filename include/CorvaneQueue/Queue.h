// A queue of documents. Create it as "CorvaneQueue.Queue", call Initialize, set the routing fields,
// send, receive and acknowledge. Used before Initialize, it works on the queue "InboundGateway". To
// browse messages and journals, take the queue from Queues. An object belongs to the thread that
// created it (see Apartment): a call from another one fails with RPC_E_WRONG_THREAD.

#pragma once

#include <CorvaneQueue/Host.h>
#include <CorvaneQueue/Journal.h>
#include <CorvaneQueue/Subscription.h>

namespace CorvaneQueue {

struct _Queue : IDispatch {
  // Holders: nothing unless a client assigned something.
  virtual HRESULT CORVANE_CALL get_Journal(_Journal** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Journal(_Journal* value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Messages(_Messages** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Messages(_Messages* value) noexcept = 0;
  // The four routing fields, which become the label of a document.
  virtual HRESULT CORVANE_CALL get_MsgType(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_MsgType(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_MsgID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_MsgID(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Object(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Object(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ObjectID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_ObjectID(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Name(BSTR* result) noexcept = 0;
  // Whether documents sent through this object are compressed (Message Queuing store).
  virtual HRESULT CORVANE_CALL get_CompressMessages(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_LastDocument(BSTR* result) noexcept = 0;
  // Kilobytes. QueueSize, JournalEnabled, JournalQuota and Quota: error 100 on the database store.
  virtual HRESULT CORVANE_CALL put_QueueSize(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_QueueSize(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_JournalEnabled(VARIANT_BOOL value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalEnabled(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_JournalQuota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalQuota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Quota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Quota(LONG* result) noexcept = 0;
  // Where errors are reported from now on. Assign it after Initialize.
  virtual HRESULT CORVANE_CALL putref_ProcessTrace(_ProcessTrace* value) noexcept = 0;
  // Binds the object to a queue of the configured store, or to its journal.
  virtual HRESULT CORVANE_CALL raw_Initialize(BSTR Name, VARIANT_BOOL IsJournal) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_IsEmpty(VARIANT_BOOL* result) noexcept = 0;
  // Deletes the waiting documents.
  virtual HRESULT CORVANE_CALL raw_Purge() noexcept = 0;
  // Error 13 for a message of another store.
  virtual HRESULT CORVANE_CALL raw_SendMessage(_Message* Message) noexcept = 0;
  // Durable when the call returns, or when the open transaction is committed.
  virtual HRESULT CORVANE_CALL raw_SendDocument(BSTR RawDocument) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_AcknowledgeMessage(_Message* Message) noexcept = 0;
  // Database store: the identifier of the document. Message Queuing store: ignored.
  virtual HRESULT CORVANE_CALL raw_AcknowledgeDocument(BSTR MessageID) noexcept = 0;
  // Message Queuing store only, as ReceiveDisable and Transaction: else 0x80004001.
  virtual HRESULT CORVANE_CALL raw_ReceiveEnable() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ReceiveDisable() noexcept = 0;
  // The nesting level (database store; 0 when one is open already: there is one transaction an object)
  // or the transaction object. Commit and Abort without a transaction do nothing.
  virtual HRESULT CORVANE_CALL raw_BeginTransaction(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Transaction(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Transaction(VARIANT value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Commit() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Abort() noexcept = 0;
  // The next waiting document, or null. Database store only.
  virtual HRESULT CORVANE_CALL raw_ReceiveNext(_Message** result) noexcept = 0;
};

inline constexpr std::array queueMembers{
    get<&_Queue::get_Journal>(0x6803000e, u"Journal"),
    set<&_Queue::putref_Journal>(0x6803000e, u"Journal"),
    get<&_Queue::get_Messages>(0x6803000d, u"Messages"),
    set<&_Queue::putref_Messages>(0x6803000d, u"Messages"),
    get<&_Queue::get_MsgType>(0x6803000c, u"MsgType"),
    let<&_Queue::put_MsgType>(0x6803000c, u"MsgType"),
    get<&_Queue::get_MsgID>(0x6803000b, u"MsgID"),
    let<&_Queue::put_MsgID>(0x6803000b, u"MsgID"),
    get<&_Queue::get_Object>(0x6803000a, u"Object"),
    let<&_Queue::put_Object>(0x6803000a, u"Object"),
    get<&_Queue::get_ObjectID>(0x68030009, u"ObjectID"),
    let<&_Queue::put_ObjectID>(0x68030009, u"ObjectID"),
    get<&_Queue::get_Name>(0x0, u"Name", "The Name Property refers to the name of the queue."),
    get<&_Queue::get_CompressMessages>(0x68030008, u"CompressMessages"),
    get<&_Queue::get_LastDocument>(0x68030007, u"LastDocument",
                                   "The LastDocument Property refers to the last document received."),
    let<&_Queue::put_QueueSize>(0x68030006, u"QueueSize", "The QueueSize Property sets the size of a queue."),
    get<&_Queue::get_QueueSize>(0x68030006, u"QueueSize", "The QueueSize Property sets the size of a queue."),
    let<&_Queue::put_JournalEnabled>(0x68030004, u"JournalEnabled",
                                     "The JournalEnabled Property enabled a journal for a queue."),
    get<&_Queue::get_JournalEnabled>(0x68030004, u"JournalEnabled",
                                     "The JournalEnabled Property enabled a journal for a queue."),
    let<&_Queue::put_JournalQuota>(0x68030003, u"JournalQuota",
                                   "The JournalQuota Property sets the journals quota for a queue."),
    get<&_Queue::get_JournalQuota>(0x68030003, u"JournalQuota",
                                   "The JournalQuota Property sets the journals quota for a queue."),
    let<&_Queue::put_Quota>(0x68030002, u"Quota", "The Quota Property sets the quota for the queue."),
    get<&_Queue::get_Quota>(0x68030002, u"Quota", "The Quota Property sets the quota for the queue."),
    set<&_Queue::putref_ProcessTrace>(0x68030001, u"ProcessTrace"),
    method<&_Queue::raw_Initialize>(0x6003000f, u"Initialize",
                                    "The Initialize Method initializes the object.", {u"Name", u"IsJournal"}),
    function<&_Queue::raw_IsEmpty>(0x60030011, u"IsEmpty"),
    method<&_Queue::raw_Purge>(0x60030012, u"Purge",
                               "The Purge Method purges a queue. This also purges the journal."),
    method<&_Queue::raw_SendMessage>(0x60030013, u"SendMessage",
                                     "The SendMessage Method sends a message object. This is used in UI "
                                     "applications to copy data from queue to queue.",
                                     {u"Message"}),
    method<&_Queue::raw_SendDocument>(0x60030014, u"SendDocument",
                                      "The SendDocument Method sends a document in a raw format.",
                                      {u"RawDocument"}),
    method<&_Queue::raw_AcknowledgeMessage>(
        0x60030017, u"AcknowledgeMessage",
        "The AcknowledgeMessage Method acknowledges a message by Message object. This is used in UI "
        "applications to remove messages from a queue.",
        {u"Message"}),
    method<&_Queue::raw_AcknowledgeDocument>(
        0x60030018, u"AcknowledgeDocument",
        "The AcknowledgeDocument Method acknowledges a document when inside the evtArrived event handler.",
        {u"MessageID"})
        .optional(1),
    method<&_Queue::raw_ReceiveEnable>(0x60030019, u"ReceiveEnable",
                                       "The ReceiveEnable Method enables the evtArrived event."),
    method<&_Queue::raw_ReceiveDisable>(0x6003001a, u"ReceiveDisable",
                                        // meant: the published text
                                        "The ReceiveDisable Method disbales the evtArrived event."),
    function<&_Queue::raw_BeginTransaction>(0x6003001b, u"BeginTransaction"),
    get<&_Queue::get_Transaction>(0x68030000, u"Transaction"),
    set<&_Queue::putref_Transaction>(0x68030000, u"Transaction"),
    method<&_Queue::raw_Commit>(0x6003001c, u"Commit"),
    method<&_Queue::raw_Abort>(0x6003001d, u"Abort"),
    function<&_Queue::raw_ReceiveNext>(0x60030020, u"ReceiveNext"),
};

template <>
struct InterfaceTraits<_Queue> {
  static constexpr IID iid = {0xf96d7d85, 0xa729, 0x4c60, {0xb3, 0x5a, 0x05, 0x5a, 0xac, 0xf3, 0x35, 0x98}};
  static constexpr const char16_t* name = u"_Queue";
  static constexpr std::span<const Member> members = queueMembers;
};

// The event interface of Queue: a sink implements IDispatch and is called with this identifier.
struct __Queue : IDispatch {};
inline constexpr DISPID evtArrivedId = 1;
// Its parameters are strings by reference.
inline constexpr EventDescription evtArrived{evtArrivedId,
                                             u"evtArrived",
                                             {u"RawDocument", u"DocumentID"},
                                             "The evtArrived Event is fired when data arrives in a queue."};
template <>
struct InterfaceTraits<__Queue> {
  static constexpr IID iid = {0x6298a1b1, 0x945a, 0x4fa9, {0xa6, 0x4f, 0xf1, 0x6b, 0x9a, 0xc8, 0x0a, 0x7b}};
  static constexpr const char16_t* name = u"__Queue";
};

// Of the source interface of a queue.
template <class Source>
inline constexpr EventKind arrivalKind{iidOf<Source>, evtArrivedId,
                                       static_cast<UINT>(evtArrived.parameterNames.size())};

inline constexpr CLSID queueClass = {
    0xcb0c4dc3, 0xc59e, 0x4798, {0x82, 0x64, 0x44, 0x20, 0xf0, 0x23, 0x7e, 0xb6}};

}  // namespace CorvaneQueue
