#pragma once

#include "Form.h"

#include <CorvaneQueue/Queue.h>

namespace CorvaneQueue {

// The members of _Queue written once for every class that presents it: each vtable member calls the
// form Queue_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class QueueForm : public DispatchForm<_Queue> {
 public:
  HRESULT STDMETHODCALLTYPE get_Journal(_Journal** result) noexcept final {
    return answer(result, [&] { return self().Queue_Journal_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Journal(_Journal* value) noexcept final {
    return answer([&] { return self().Queue_Journal_Set(Ref<_Journal>(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Messages(_Messages** result) noexcept final {
    return answer(result, [&] { return self().Queue_Messages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Messages(_Messages* value) noexcept final {
    return answer([&] { return self().Queue_Messages_Set(Ref<_Messages>(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_MsgType(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_MsgType_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_MsgType(BSTR value) noexcept final {
    return answer([&] { return self().Queue_MsgType_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_MsgID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_MsgID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_MsgID(BSTR value) noexcept final {
    return answer([&] { return self().Queue_MsgID_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Object(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_Object_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_Object(BSTR value) noexcept final {
    return answer([&] { return self().Queue_Object_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_ObjectID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_ObjectID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_ObjectID(BSTR value) noexcept final {
    return answer([&] { return self().Queue_ObjectID_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_Name_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_CompressMessages(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Queue_CompressMessages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_LastDocument(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Queue_LastDocument_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_QueueSize(LONG value) noexcept final {
    return answer([&] { return self().Queue_QueueSize_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_QueueSize(LONG* result) noexcept final {
    return answer(result, [&] { return self().Queue_QueueSize_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_JournalEnabled(VARIANT_BOOL value) noexcept final {
    return answer([&] { return self().Queue_JournalEnabled_Let(value != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE get_JournalEnabled(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Queue_JournalEnabled_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG value) noexcept final {
    return answer([&] { return self().Queue_JournalQuota_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG* result) noexcept final {
    return answer(result, [&] { return self().Queue_JournalQuota_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_Quota(LONG value) noexcept final {
    return answer([&] { return self().Queue_Quota_Let(value); });
  }
  HRESULT STDMETHODCALLTYPE get_Quota(LONG* result) noexcept final {
    return answer(result, [&] { return self().Queue_Quota_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_ProcessTrace(_ProcessTrace* value) noexcept final {
    return answer([&] { return self().Queue_ProcessTrace_Set(Ref<_ProcessTrace>(value)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Initialize(BSTR Name, VARIANT_BOOL IsJournal) noexcept final {
    return answer([&] { return self().Queue_Initialize(StringRef(Name), IsJournal != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE raw_IsEmpty(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Queue_IsEmpty(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Purge() noexcept final {
    return answer([&] { return self().Queue_Purge(); });
  }
  HRESULT STDMETHODCALLTYPE raw_SendMessage(_Message* Message) noexcept final {
    return answer([&] { return self().Queue_SendMessage(Ref<_Message>(Message)); });
  }
  HRESULT STDMETHODCALLTYPE raw_SendDocument(BSTR RawDocument) noexcept final {
    return answer([&] { return self().Queue_SendDocument(StringRef(RawDocument)); });
  }
  HRESULT STDMETHODCALLTYPE raw_AcknowledgeMessage(_Message* Message) noexcept final {
    return answer([&] { return self().Queue_AcknowledgeMessage(Ref<_Message>(Message)); });
  }
  HRESULT STDMETHODCALLTYPE raw_AcknowledgeDocument(BSTR MessageID) noexcept final {
    return answer([&] { return self().Queue_AcknowledgeDocument(StringRef(MessageID)); });
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveEnable() noexcept final {
    return answer([&] { return self().Queue_ReceiveEnable(); });
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveDisable() noexcept final {
    return answer([&] { return self().Queue_ReceiveDisable(); });
  }
  HRESULT STDMETHODCALLTYPE raw_BeginTransaction(VARIANT* result) noexcept final {
    return answer(result, [&] { return self().Queue_BeginTransaction(); });
  }
  HRESULT STDMETHODCALLTYPE get_Transaction(VARIANT* result) noexcept final {
    return answer(result, [&] { return self().Queue_Transaction_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Transaction(VARIANT value) noexcept final {
    return answer([&] { return self().Queue_Transaction_Set(value); });
  }
  HRESULT STDMETHODCALLTYPE raw_Commit() noexcept final {
    return answer([&] { return self().Queue_Commit(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Abort() noexcept final {
    return answer([&] { return self().Queue_Abort(); });
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveNext(_Message** result) noexcept final {
    return answer(result, [&] { return self().Queue_ReceiveNext(); });
  }

  auto Queue_Journal_Get() {
    return self().reportedForm(u"Queue_Journal Get", [&] { return self().Journal(); });
  }
  auto Queue_Journal_Set(const Ref<_Journal>& value) {
    return self().reportedForm(u"Queue_Journal Set", [&] { return self().Journal_Set(value); });
  }
  auto Queue_Messages_Get() {
    return self().reportedForm(u"Queue_Messages Get", [&] { return self().Messages(); });
  }
  auto Queue_Messages_Set(const Ref<_Messages>& value) {
    return self().reportedForm(u"Queue_Messages Set", [&] { return self().Messages_Set(value); });
  }
  auto Queue_MsgType_Get() {
    return self().reportedForm(u"Queue_MsgType Get", [&] { return self().MsgType(); });
  }
  auto Queue_MsgType_Let(StringRef value) {
    return self().reportedForm(u"Queue_MsgType Let", [&] { return self().MsgType_Let(value); });
  }
  auto Queue_MsgID_Get() {
    return self().reportedForm(u"Queue_MsgID Get", [&] { return self().MsgID(); });
  }
  auto Queue_MsgID_Let(StringRef value) {
    return self().reportedForm(u"Queue_MsgID Let", [&] { return self().MsgID_Let(value); });
  }
  auto Queue_Object_Get() {
    return self().reportedForm(u"Queue_Object Get", [&] { return self().Object(); });
  }
  auto Queue_Object_Let(StringRef value) {
    return self().reportedForm(u"Queue_Object Let", [&] { return self().Object_Let(value); });
  }
  auto Queue_ObjectID_Get() {
    return self().reportedForm(u"Queue_ObjectID Get", [&] { return self().ObjectID(); });
  }
  auto Queue_ObjectID_Let(StringRef value) {
    return self().reportedForm(u"Queue_ObjectID Let", [&] { return self().ObjectID_Let(value); });
  }
  auto Queue_Name_Get() {
    return self().reportedForm(u"Queue_Name Get", [&] { return self().Name(); });
  }
  auto Queue_CompressMessages_Get() {
    return self().reportedForm(u"Queue_CompressMessages Get", [&] { return self().CompressMessages(); });
  }
  auto Queue_LastDocument_Get() {
    return self().reportedForm(u"Queue_LastDocument Get", [&] { return self().LastDocument(); });
  }
  auto Queue_QueueSize_Let(std::int32_t value) {
    return self().reportedForm(u"Queue_QueueSize Let", [&] { return self().QueueSize_Let(value); });
  }
  auto Queue_QueueSize_Get() {
    return self().reportedForm(u"Queue_QueueSize Get", [&] { return self().QueueSize(); });
  }
  auto Queue_JournalEnabled_Let(bool value) {
    return self().reportedForm(u"Queue_JournalEnabled Let", [&] { return self().JournalEnabled_Let(value); });
  }
  auto Queue_JournalEnabled_Get() {
    return self().reportedForm(u"Queue_JournalEnabled Get", [&] { return self().JournalEnabled(); });
  }
  auto Queue_JournalQuota_Let(std::int32_t value) {
    return self().reportedForm(u"Queue_JournalQuota Let", [&] { return self().JournalQuota_Let(value); });
  }
  auto Queue_JournalQuota_Get() {
    return self().reportedForm(u"Queue_JournalQuota Get", [&] { return self().JournalQuota(); });
  }
  auto Queue_Quota_Let(std::int32_t value) {
    return self().reportedForm(u"Queue_Quota Let", [&] { return self().Quota_Let(value); });
  }
  auto Queue_Quota_Get() {
    return self().reportedForm(u"Queue_Quota Get", [&] { return self().Quota(); });
  }
  auto Queue_ProcessTrace_Set(const Ref<_ProcessTrace>& value) {
    return self().reportedForm(u"Queue_ProcessTrace Set", [&] { return self().ProcessTrace_Set(value); });
  }
  auto Queue_Initialize(StringRef Name, bool IsJournal) {
    return self().reportedForm(u"Queue_Initialize", [&] { return self().Initialize(Name, IsJournal); });
  }
  auto Queue_IsEmpty() {
    return self().reportedForm(u"Queue_IsEmpty", [&] { return self().IsEmpty(); });
  }
  auto Queue_Purge() {
    return self().reportedForm(u"Queue_Purge", [&] { return self().Purge(); });
  }
  auto Queue_SendMessage(const Ref<_Message>& Message) {
    return self().reportedForm(u"Queue_SendMessage", [&] { return self().SendMessage(Message); });
  }
  auto Queue_SendDocument(StringRef RawDocument) {
    return self().reportedForm(u"Queue_SendDocument", [&] { return self().SendDocument(RawDocument); });
  }
  auto Queue_AcknowledgeMessage(const Ref<_Message>& Message) {
    return self().reportedForm(u"Queue_AcknowledgeMessage",
                               [&] { return self().AcknowledgeMessage(Message); });
  }
  auto Queue_AcknowledgeDocument(StringRef MessageID) {
    return self().reportedForm(u"Queue_AcknowledgeDocument",
                               [&] { return self().AcknowledgeDocument(MessageID); });
  }
  auto Queue_ReceiveEnable() {
    return self().reportedForm(u"Queue_ReceiveEnable", [&] { return self().ReceiveEnable(); });
  }
  auto Queue_ReceiveDisable() {
    return self().reportedForm(u"Queue_ReceiveDisable", [&] { return self().ReceiveDisable(); });
  }
  auto Queue_BeginTransaction() {
    return self().reportedForm(u"Queue_BeginTransaction", [&] { return self().BeginTransaction(); });
  }
  auto Queue_Transaction_Get() {
    return self().reportedForm(u"Queue_Transaction Get", [&] { return self().Transaction(); });
  }
  auto Queue_Transaction_Set(const VARIANT& value) {
    return self().reportedForm(u"Queue_Transaction Set", [&] { return self().Transaction_Set(value); });
  }
  auto Queue_Commit() {
    return self().reportedForm(u"Queue_Commit", [&] { return self().Commit(); });
  }
  auto Queue_Abort() {
    return self().reportedForm(u"Queue_Abort", [&] { return self().Abort(); });
  }
  auto Queue_ReceiveNext() {
    return self().reportedForm(u"Queue_ReceiveNext", [&] { return self().ReceiveNext(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
