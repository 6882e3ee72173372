// The Message Queuing automation objects, with the members in use.
#pragma once

#include <CorvaneQueue/members.h>
#include <CorvaneQueue/Subscription.h>

namespace CorvaneQueue {

struct IMSMQTransaction : IDispatch {
  virtual HRESULT CORVANE_CALL raw_Commit(VARIANT* fRetaining, VARIANT* grfTC, VARIANT* grfRM) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Abort(VARIANT* fRetaining, VARIANT* fAsync) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Transaction(LONG* result) noexcept = 0;
};

inline constexpr std::array msmqTransactionMembers{
    method<&IMSMQTransaction::raw_Commit>(1, u"Commit", "", {u"fRetaining", u"grfTC", u"grfRM"}).optional(3),
    method<&IMSMQTransaction::raw_Abort>(2, u"Abort", "", {u"fRetaining", u"fAsync"}).optional(2),
    get<&IMSMQTransaction::get_Transaction>(3, u"Transaction"),
};

template <>
struct InterfaceTraits<IMSMQTransaction> {
  static constexpr IID iid = {0x607dddc8, 0xf43f, 0x418e, {0xaa, 0x0e, 0xe6, 0xfb, 0xea, 0x1f, 0x1a, 0x34}};
  static constexpr const char16_t* name = u"IMSMQTransaction";
  static constexpr std::span<const Member> members = msmqTransactionMembers;
};

struct IMSMQCoordinatedTransactionDispenser : IDispatch {
  virtual HRESULT CORVANE_CALL raw_BeginTransaction(IMSMQTransaction** result) noexcept = 0;
};

inline constexpr std::array msmqDispenserMembers{
    function<&IMSMQCoordinatedTransactionDispenser::raw_BeginTransaction>(1, u"BeginTransaction"),
};

template <>
struct InterfaceTraits<IMSMQCoordinatedTransactionDispenser> {
  static constexpr IID iid = {0xccd1db47, 0xf0a8, 0x4e5c, {0xb6, 0x97, 0x6a, 0xb0, 0xbe, 0xdb, 0xa2, 0x47}};
  static constexpr const char16_t* name = u"IMSMQCoordinatedTransactionDispenser";
  static constexpr std::span<const Member> members = msmqDispenserMembers;
};

// Raises the notification Arrived(Queue, Cursor) to the sinks of its connection point.

struct IMSMQEvent : IDispatch {};

template <>
struct InterfaceTraits<IMSMQEvent> {
  static constexpr IID iid = {0x5c4e3252, 0x05dd, 0x49d0, {0xaf, 0x37, 0x3c, 0x46, 0xfa, 0xdd, 0x1c, 0xdc}};
  static constexpr const char16_t* name = u"IMSMQEvent";
  static constexpr std::span<const Member> members = {};
};

// The notification of an IMSMQEvent: a sink implements IDispatch and is called with this identifier and
// the arguments Queue (an IMSMQQueue) and Cursor (int32).
struct _DMSMQEventEvents : IDispatch {};
inline constexpr DISPID msmqArrivedId = 0;
template <>
struct InterfaceTraits<_DMSMQEventEvents> {
  static constexpr IID iid = {0xb493f7c0, 0x8926, 0x48ff, {0x8c, 0x89, 0xe2, 0x1d, 0xbf, 0x6e, 0xde, 0x40}};
  static constexpr const char16_t* name = u"_DMSMQEventEvents";
};

inline constexpr EventKind msmqArrival{iidOf<_DMSMQEventEvents>, msmqArrivedId, 2};

struct IMSMQMessage : IDispatch {
  virtual HRESULT CORVANE_CALL get_Label(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Label(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Body(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Body(VARIANT value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_AppSpecific(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_AppSpecific(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Delivery(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Delivery(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Id(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_BodyLength(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SentTime(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ArrivedTime(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_MaxTimeToReceive(LONG* result) noexcept = 0;
  // DestinationQueue is an open IMSMQQueue.
  virtual HRESULT CORVANE_CALL raw_Send(IDispatch* DestinationQueue, VARIANT* Transaction) noexcept = 0;
};

inline constexpr std::array msmqMessageMembers{
    get<&IMSMQMessage::get_Label>(1, u"Label"),
    let<&IMSMQMessage::put_Label>(1, u"Label"),
    get<&IMSMQMessage::get_Body>(2, u"Body"),
    let<&IMSMQMessage::put_Body>(2, u"Body"),
    get<&IMSMQMessage::get_AppSpecific>(3, u"AppSpecific"),
    let<&IMSMQMessage::put_AppSpecific>(3, u"AppSpecific"),
    get<&IMSMQMessage::get_Delivery>(4, u"Delivery"),
    let<&IMSMQMessage::put_Delivery>(4, u"Delivery"),
    get<&IMSMQMessage::get_Id>(5, u"Id"),
    get<&IMSMQMessage::get_BodyLength>(6, u"BodyLength"),
    get<&IMSMQMessage::get_SentTime>(7, u"SentTime"),
    get<&IMSMQMessage::get_ArrivedTime>(8, u"ArrivedTime"),
    get<&IMSMQMessage::get_MaxTimeToReceive>(9, u"MaxTimeToReceive"),
    method<&IMSMQMessage::raw_Send>(10, u"Send", "", {u"DestinationQueue", u"Transaction"}).optional(1),
};

template <>
struct InterfaceTraits<IMSMQMessage> {
  static constexpr IID iid = {0x67c75af0, 0x995b, 0x4e11, {0xa3, 0xfe, 0xb9, 0xc9, 0x23, 0xc5, 0x8c, 0xd2}};
  static constexpr const char16_t* name = u"IMSMQMessage";
  static constexpr std::span<const Member> members = msmqMessageMembers;
};

struct IMSMQQueueInfo : IDispatch {
  virtual HRESULT CORVANE_CALL get_PathName(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_PathName(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_FormatName(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_FormatName(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_IsTransactional(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Quota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Quota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Journal(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Journal(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalQuota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_JournalQuota(LONG value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Create(VARIANT* IsTransactional, VARIANT* IsWorldReadable) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Delete() noexcept = 0;
  // The result is an IMSMQQueue.
  virtual HRESULT CORVANE_CALL raw_Open(LONG Access, LONG ShareMode, IDispatch** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Update() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Refresh() noexcept = 0;
};

inline constexpr std::array msmqQueueInfoMembers{
    get<&IMSMQQueueInfo::get_PathName>(1, u"PathName"),
    let<&IMSMQQueueInfo::put_PathName>(1, u"PathName"),
    get<&IMSMQQueueInfo::get_FormatName>(2, u"FormatName"),
    let<&IMSMQQueueInfo::put_FormatName>(2, u"FormatName"),
    get<&IMSMQQueueInfo::get_IsTransactional>(3, u"IsTransactional"),
    get<&IMSMQQueueInfo::get_Quota>(4, u"Quota"),
    let<&IMSMQQueueInfo::put_Quota>(4, u"Quota"),
    get<&IMSMQQueueInfo::get_Journal>(5, u"Journal"),
    let<&IMSMQQueueInfo::put_Journal>(5, u"Journal"),
    get<&IMSMQQueueInfo::get_JournalQuota>(6, u"JournalQuota"),
    let<&IMSMQQueueInfo::put_JournalQuota>(6, u"JournalQuota"),
    method<&IMSMQQueueInfo::raw_Create>(7, u"Create", "", {u"IsTransactional", u"IsWorldReadable"})
        .optional(2),
    method<&IMSMQQueueInfo::raw_Delete>(8, u"Delete"),
    function<&IMSMQQueueInfo::raw_Open>(9, u"Open", "", {u"Access", u"ShareMode"}),
    method<&IMSMQQueueInfo::raw_Update>(10, u"Update"),
    method<&IMSMQQueueInfo::raw_Refresh>(11, u"Refresh"),
};

template <>
struct InterfaceTraits<IMSMQQueueInfo> {
  static constexpr IID iid = {0x6c27587c, 0x94b8, 0x41aa, {0x9e, 0x51, 0xa8, 0x91, 0xa7, 0x8e, 0xfd, 0x74}};
  static constexpr const char16_t* name = u"IMSMQQueueInfo";
  static constexpr std::span<const Member> members = msmqQueueInfoMembers;
};

struct IMSMQQueue : IDispatch {
  virtual HRESULT CORVANE_CALL get_QueueInfo(IMSMQQueueInfo** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Reset() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Close() noexcept = 0;
  // Null when the time (milliseconds) passed without a message, here and below.
  virtual HRESULT CORVANE_CALL raw_PeekCurrent(VARIANT* WantDestinationQueue, VARIANT* WantBody,
                                               VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_PeekNext(VARIANT* WantDestinationQueue, VARIANT* WantBody,
                                            VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Peek(VARIANT* WantDestinationQueue, VARIANT* WantBody,
                                        VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Receive(VARIANT* Transaction, VARIANT* WantDestinationQueue,
                                           VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                           IMSMQMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ReceiveCurrent(VARIANT* Transaction, VARIANT* WantDestinationQueue,
                                                  VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                                  IMSMQMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_EnableNotification(IMSMQEvent* Event, VARIANT* Cursor,
                                                      VARIANT* ReceiveTimeout) noexcept = 0;
};

inline constexpr std::array msmqQueueMembers{
    get<&IMSMQQueue::get_QueueInfo>(1, u"QueueInfo"),
    method<&IMSMQQueue::raw_Reset>(2, u"Reset"),
    method<&IMSMQQueue::raw_Close>(3, u"Close"),
    function<&IMSMQQueue::raw_PeekCurrent>(4, u"PeekCurrent", "",
                                           {u"WantDestinationQueue", u"WantBody", u"ReceiveTimeout"})
        .optional(3),
    function<&IMSMQQueue::raw_PeekNext>(5, u"PeekNext", "",
                                        {u"WantDestinationQueue", u"WantBody", u"ReceiveTimeout"})
        .optional(3),
    function<&IMSMQQueue::raw_Peek>(6, u"Peek", "", {u"WantDestinationQueue", u"WantBody", u"ReceiveTimeout"})
        .optional(3),
    function<&IMSMQQueue::raw_Receive>(
        7, u"Receive", "", {u"Transaction", u"WantDestinationQueue", u"WantBody", u"ReceiveTimeout"})
        .optional(4),
    function<&IMSMQQueue::raw_ReceiveCurrent>(
        8, u"ReceiveCurrent", "", {u"Transaction", u"WantDestinationQueue", u"WantBody", u"ReceiveTimeout"})
        .optional(4),
    method<&IMSMQQueue::raw_EnableNotification>(9, u"EnableNotification", "",
                                                {u"Event", u"Cursor", u"ReceiveTimeout"})
        .optional(2),
};

template <>
struct InterfaceTraits<IMSMQQueue> {
  static constexpr IID iid = {0x8abb97e7, 0xae8c, 0x4c50, {0xb3, 0x24, 0xe3, 0x78, 0x90, 0x30, 0xcc, 0xc6}};
  static constexpr const char16_t* name = u"IMSMQQueue";
  static constexpr std::span<const Member> members = msmqQueueMembers;
};

inline constexpr CLSID msmqQueueInfoClass = {
    0x1c9a7c0e, 0x52b4, 0x4e0a, {0x9b, 0x7d, 0x27, 0x8a, 0xd1, 0x6f, 0x30, 0x91}};
inline constexpr CLSID msmqMessageClass = {
    0x6be1f2d3, 0x0a8c, 0x4d3f, {0x8e, 0x55, 0x91, 0x3c, 0x47, 0xb0, 0xee, 0x12}};
inline constexpr CLSID msmqEventClass = {
    0x90f4c6a8, 0xd71e, 0x43b2, {0xb6, 0x0a, 0x5d, 0xe8, 0x19, 0x74, 0xac, 0x3d}};
inline constexpr CLSID msmqDispenserClass = {
    0xe3075bd1, 0x4f96, 0x4a18, {0xa2, 0xc7, 0x08, 0x6b, 0xf5, 0x2d, 0x93, 0x4e}};

// Argument values of the objects above.
inline constexpr LONG MQ_RECEIVE_ACCESS = 1;
inline constexpr LONG MQ_SEND_ACCESS = 2;
inline constexpr LONG MQ_PEEK_ACCESS = 32;
inline constexpr LONG MQ_DENY_NONE = 0;
inline constexpr LONG MQ_JOURNAL_NONE = 0;
inline constexpr LONG MQ_JOURNAL = 1;
inline constexpr LONG MQ_NO_TRANSACTION = 0;
inline constexpr LONG MQ_SINGLE_MESSAGE = 3;
inline constexpr LONG MQMSG_DELIVERY_RECOVERABLE = 1;
inline constexpr LONG INFINITE_TIMEOUT = -1;

// Beside IMSMQQueue, of queues that find a message by its place: who wants one of many need not walk over
// those before it. The cursor moves onto the message; when it is not there, or held by a transaction, the
// answer is false and the cursor stays. Not for late binding.
struct IMSMQQueueSeek : IUnknown {
  // The message that was peeked, from this queue.
  virtual HRESULT CORVANE_CALL raw_SeekMessage(IMSMQMessage* Message, VARIANT_BOOL* result) noexcept = 0;
  // The first message whose identifier ends in these four bytes, the least significant one first.
  virtual HRESULT CORVANE_CALL raw_SeekNumber(LONG Number, VARIANT_BOOL* result) noexcept = 0;
};
template <>
struct InterfaceTraits<IMSMQQueueSeek> {
  static constexpr IID iid = {0x4f1d60b3, 0x77c2, 0x4a0e, {0x8c, 0x19, 0x5b, 0xe0, 0x2d, 0x93, 0x41, 0x6a}};
  static constexpr const char16_t* name = u"IMSMQQueueSeek";
};

// The numbers of their errors.
inline constexpr HRESULT MQ_ERROR_QUEUE_NOT_FOUND = static_cast<HRESULT>(0xC00E0003u);
inline constexpr HRESULT MQ_ERROR_QUEUE_EXISTS = static_cast<HRESULT>(0xC00E0005u);
inline constexpr HRESULT MQ_ERROR_INVALID_HANDLE = static_cast<HRESULT>(0xC00E0007u);
inline constexpr HRESULT MQ_ERROR_ILLEGAL_QUEUE_PATHNAME = static_cast<HRESULT>(0xC00E0014u);
inline constexpr HRESULT MQ_ERROR_ILLEGAL_CURSOR_ACTION = static_cast<HRESULT>(0xC00E001Cu);
inline constexpr HRESULT MQ_ERROR_MESSAGE_ALREADY_RECEIVED = static_cast<HRESULT>(0xC00E001Du);
inline constexpr HRESULT MQ_ERROR_ILLEGAL_FORMATNAME = static_cast<HRESULT>(0xC00E001Eu);
inline constexpr HRESULT MQ_ERROR_ACCESS_DENIED = static_cast<HRESULT>(0xC00E0025u);
inline constexpr HRESULT MQ_ERROR_INSUFFICIENT_RESOURCES = static_cast<HRESULT>(0xC00E0027u);
inline constexpr HRESULT MQ_ERROR_TRANSACTION_USAGE = static_cast<HRESULT>(0xC00E0050u);
inline constexpr HRESULT MQ_ERROR_TRANSACTION_SEQUENCE = static_cast<HRESULT>(0xC00E0051u);
inline constexpr HRESULT MQ_ERROR_QUEUE_DELETED = static_cast<HRESULT>(0xC00E005Au);
inline constexpr HRESULT MQ_ERROR_LABEL_TOO_LONG = static_cast<HRESULT>(0xC00E005Du);
inline constexpr HRESULT MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE = static_cast<HRESULT>(0xC00E0069u);
// A stored message whose bytes are not those that were sent.
inline constexpr HRESULT MQ_ERROR_MESSAGE_STORAGE_FAILED = static_cast<HRESULT>(0xC00E002Au);

}  // namespace CorvaneQueue
