// Back-end interface of one queue.
#pragma once

#include "IJournal.h"

#include <CorvaneQueue/Host.h>

namespace CorvaneQueue {

struct IQueue : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Journal(IJournal** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE putref_Journal(IJournal* value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MsgType(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MsgType(BSTR value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MsgID(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MsgID(BSTR value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Object(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Object(BSTR value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ObjectID(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_ObjectID(BSTR value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_CompressMessages(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_LastDocument(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_QueueSize(LONG value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_QueueSize(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_JournalEnabled(VARIANT_BOOL value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_JournalEnabled(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Quota(LONG value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Quota(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE putref_ProcessTrace(_ProcessTrace* value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Initialize(BSTR Name, VARIANT_BOOL IsJournal) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Messages(IMessages** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_IsEmpty(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Purge() noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_SendMessage(IMessage* Message) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_SendDocument(BSTR RawDocument) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_AcknowledgeMessage(IMessage* Message) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_AcknowledgeDocument(BSTR MessageID) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_BeginTransaction(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Commit() noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Abort() noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_ReceiveNext(IMessage** result) noexcept = 0;
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

// The members of IQueue written once for every class that presents it: each vtable member calls the
// form IQueue_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IQueueForm : public DispatchForm<IQueue> {
 public:
  HRESULT STDMETHODCALLTYPE get_Journal(IJournal** result) noexcept final {
    return answer(result, [&] { return self().IQueue_Journal_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Journal(IJournal* value) noexcept final {
    return answer([&] { return self().IQueue_Journal_Set(Ref<IJournal>(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_MsgType(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_MsgType_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_MsgType(BSTR value) noexcept final {
    return answer([&] { return self().IQueue_MsgType_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_MsgID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_MsgID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_MsgID(BSTR value) noexcept final {
    return answer([&] { return self().IQueue_MsgID_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Object(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_Object_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_Object(BSTR value) noexcept final {
    return answer([&] { return self().IQueue_Object_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_ObjectID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_ObjectID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_ObjectID(BSTR value) noexcept final {
    return answer([&] { return self().IQueue_ObjectID_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_Name_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_CompressMessages(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IQueue_CompressMessages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_LastDocument(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IQueue_LastDocument_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_QueueSize(LONG value) noexcept final {
    return answer([&] { return self().IQueue_QueueSize_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_QueueSize(LONG* result) noexcept final {
    return answer(result, [&] { return self().IQueue_QueueSize_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_JournalEnabled(VARIANT_BOOL value) noexcept final {
    return answer([&] { return self().IQueue_JournalEnabled_Let(value != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE get_JournalEnabled(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IQueue_JournalEnabled_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG value) noexcept final {
    return answer([&] { return self().IQueue_JournalQuota_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG* result) noexcept final {
    return answer(result, [&] { return self().IQueue_JournalQuota_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_Quota(LONG value) noexcept final {
    return answer([&] { return self().IQueue_Quota_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_Quota(LONG* result) noexcept final {
    return answer(result, [&] { return self().IQueue_Quota_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_ProcessTrace(_ProcessTrace* value) noexcept final {
    return answer([&] { return self().IQueue_ProcessTrace_Set(Ref<_ProcessTrace>(value)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Initialize(BSTR Name, VARIANT_BOOL IsJournal) noexcept final {
    return answer([&] { return self().IQueue_Initialize(StringRef(Name), IsJournal != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE get_Messages(IMessages** result) noexcept final {
    return answer(result, [&] { return self().IQueue_Messages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_IsEmpty(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IQueue_IsEmpty(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Purge() noexcept final {
    return answer([&] { return self().IQueue_Purge(); });
  }
  HRESULT STDMETHODCALLTYPE raw_SendMessage(IMessage* Message) noexcept final {
    return answer([&] { return self().IQueue_SendMessage(Ref<IMessage>(Message)); });
  }
  HRESULT STDMETHODCALLTYPE raw_SendDocument(BSTR RawDocument) noexcept final {
    return answer([&] { return self().IQueue_SendDocument(StringRef(RawDocument)); });
  }
  HRESULT STDMETHODCALLTYPE raw_AcknowledgeMessage(IMessage* Message) noexcept final {
    return answer([&] { return self().IQueue_AcknowledgeMessage(Ref<IMessage>(Message)); });
  }
  HRESULT STDMETHODCALLTYPE raw_AcknowledgeDocument(BSTR MessageID) noexcept final {
    return answer([&] { return self().IQueue_AcknowledgeDocument(StringRef(MessageID)); });
  }
  HRESULT STDMETHODCALLTYPE raw_BeginTransaction(LONG* result) noexcept final {
    return answer(result, [&] { return self().IQueue_BeginTransaction(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Commit() noexcept final {
    return answer([&] { return self().IQueue_Commit(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Abort() noexcept final {
    return answer([&] { return self().IQueue_Abort(); });
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveNext(IMessage** result) noexcept final {
    return answer(result, [&] { return self().IQueue_ReceiveNext(); });
  }

  auto IQueue_Journal_Get() {
    return self().reportedForm(u"IQueue_Journal Get", [&] { return self().Journal(); });
  }
  auto IQueue_Journal_Set(const Ref<IJournal>& value) {
    return self().reportedForm(u"IQueue_Journal Set", [&] { return self().Journal_Set(value); });
  }
  auto IQueue_MsgType_Get() {
    return self().reportedForm(u"IQueue_MsgType Get", [&] { return self().MsgType(); });
  }
  auto IQueue_MsgType_Let(StringRef value) {
    return self().reportedForm(u"IQueue_MsgType Let", [&] { return self().MsgType_Let(value); });
  }
  auto IQueue_MsgID_Get() {
    return self().reportedForm(u"IQueue_MsgID Get", [&] { return self().MsgID(); });
  }
  auto IQueue_MsgID_Let(StringRef value) {
    return self().reportedForm(u"IQueue_MsgID Let", [&] { return self().MsgID_Let(value); });
  }
  auto IQueue_Object_Get() {
    return self().reportedForm(u"IQueue_Object Get", [&] { return self().Object(); });
  }
  auto IQueue_Object_Let(StringRef value) {
    return self().reportedForm(u"IQueue_Object Let", [&] { return self().Object_Let(value); });
  }
  auto IQueue_ObjectID_Get() {
    return self().reportedForm(u"IQueue_ObjectID Get", [&] { return self().ObjectID(); });
  }
  auto IQueue_ObjectID_Let(StringRef value) {
    return self().reportedForm(u"IQueue_ObjectID Let", [&] { return self().ObjectID_Let(value); });
  }
  auto IQueue_Name_Get() {
    return self().reportedForm(u"IQueue_Name Get", [&] { return self().Name(); });
  }
  auto IQueue_CompressMessages_Get() {
    return self().reportedForm(u"IQueue_CompressMessages Get", [&] { return self().CompressMessages(); });
  }
  auto IQueue_LastDocument_Get() {
    return self().reportedForm(u"IQueue_LastDocument Get", [&] { return self().LastDocument(); });
  }
  auto IQueue_QueueSize_Let(std::int32_t value) {
    return self().reportedForm(u"IQueue_QueueSize Let", [&] { return self().QueueSize_Let(value); });
  }
  auto IQueue_QueueSize_Get() {
    return self().reportedForm(u"IQueue_QueueSize Get", [&] { return self().QueueSize(); });
  }
  auto IQueue_JournalEnabled_Let(bool value) {
    return self().reportedForm(u"IQueue_JournalEnabled Let",
                               [&] { return self().JournalEnabled_Let(value); });
  }
  auto IQueue_JournalEnabled_Get() {
    return self().reportedForm(u"IQueue_JournalEnabled Get", [&] { return self().JournalEnabled(); });
  }
  auto IQueue_JournalQuota_Let(std::int32_t value) {
    return self().reportedForm(u"IQueue_JournalQuota Let", [&] { return self().JournalQuota_Let(value); });
  }
  auto IQueue_JournalQuota_Get() {
    return self().reportedForm(u"IQueue_JournalQuota Get", [&] { return self().JournalQuota(); });
  }
  auto IQueue_Quota_Let(std::int32_t value) {
    return self().reportedForm(u"IQueue_Quota Let", [&] { return self().Quota_Let(value); });
  }
  auto IQueue_Quota_Get() {
    return self().reportedForm(u"IQueue_Quota Get", [&] { return self().Quota(); });
  }
  auto IQueue_ProcessTrace_Set(const Ref<_ProcessTrace>& value) {
    return self().reportedForm(u"IQueue_ProcessTrace Set", [&] { return self().ProcessTrace_Set(value); });
  }
  auto IQueue_Initialize(StringRef Name, bool IsJournal) {
    return self().reportedForm(u"IQueue_Initialize", [&] { return self().Initialize(Name, IsJournal); });
  }
  auto IQueue_Messages_Get() {
    return self().reportedForm(u"IQueue_Messages Get", [&] { return self().Messages(); });
  }
  auto IQueue_IsEmpty() {
    return self().reportedForm(u"IQueue_IsEmpty", [&] { return self().IsEmpty(); });
  }
  auto IQueue_Purge() {
    return self().reportedForm(u"IQueue_Purge", [&] { return self().Purge(); });
  }
  auto IQueue_SendMessage(const Ref<IMessage>& Message) {
    return self().reportedForm(u"IQueue_SendMessage", [&] { return self().SendMessage(Message); });
  }
  auto IQueue_SendDocument(StringRef RawDocument) {
    return self().reportedForm(u"IQueue_SendDocument", [&] { return self().SendDocument(RawDocument); });
  }
  auto IQueue_AcknowledgeMessage(const Ref<IMessage>& Message) {
    return self().reportedForm(u"IQueue_AcknowledgeMessage",
                               [&] { return self().AcknowledgeMessage(Message); });
  }
  auto IQueue_AcknowledgeDocument(StringRef MessageID) {
    return self().reportedForm(u"IQueue_AcknowledgeDocument",
                               [&] { return self().AcknowledgeDocument(MessageID); });
  }
  auto IQueue_BeginTransaction() {
    return self().reportedForm(u"IQueue_BeginTransaction", [&] { return self().BeginTransaction(); });
  }
  auto IQueue_Commit() {
    return self().reportedForm(u"IQueue_Commit", [&] { return self().Commit(); });
  }
  auto IQueue_Abort() {
    return self().reportedForm(u"IQueue_Abort", [&] { return self().Abort(); });
  }
  auto IQueue_ReceiveNext() {
    return self().reportedForm(u"IQueue_ReceiveNext", [&] { return self().ReceiveNext(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
