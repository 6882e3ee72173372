// The queue of the database store.
#pragma once

#include "DbMessages.h"
#include "ErrorReports.h"
#include "HostServices.h"
#include "IQueue.h"
#include "QueueForm.h"
#include "RoutedQueue.h"

namespace CorvaneQueue {

class DbJournal;

// One named queue, or its journal (the acknowledged documents). Reading is by polling. Every member
// reports its errors under its own name, and the interface forms do so again under theirs. Two objects
// have two connections: a transaction of one holds off what the other writes until it ends.
class DbQueue final : public Object<DbQueue, QueueForm<DbQueue>, IQueueForm<DbQueue>>, public RoutedQueue {
 public:
  static constexpr GUID classIdentity = {
      0xbb2f19f4, 0xc807, 0x49f8, {0xb7, 0xfb, 0x8d, 0xa2, 0x2b, 0x9e, 0xa2, 0x20}};
  static constexpr const char16_t* className = u"DbQueue";
  using RoutedQueue::Object;

  DbQueue();
  ~DbQueue();

  // An open transaction is aborted first: everything after goes to the queue of that name.
  void Initialize(StringRef Name, bool IsJournal);
  const String& Name() const noexcept { return name_; }
  bool IsJournal() const noexcept { return isJournal_; }
  bool CompressMessages() const noexcept { return compressMessages_; }
  // Always empty in this store.
  String LastDocument() const noexcept { return {}; }
  const Ref<IDispatch>& Journal() const noexcept { return journal_; }
  void Journal_Set(Ref<IDispatch> value) noexcept { journal_ = std::move(value); }
  // Created on the first request, not refreshed.
  Ref<DbMessages> Messages();
  void ProcessTrace_Set(const Ref<_ProcessTrace>& Trace);

  bool IsEmpty();
  void Purge();
  void SendDocument(StringRef RawDocument);
  void SendMessage(const DbMessage& Message);
  // The first waiting document, or nothing. It stays waiting until it is acknowledged.
  Ref<DbMessage> ReceiveNext();
  void AcknowledgeDocument(StringRef MessageID);
  void AcknowledgeMessage(const DbMessage& Message);
  // The nesting level that the connection reports, or 0 when a transaction is open already.
  std::int32_t BeginTransaction();
  void Commit();
  void Abort();

  // Not kept by this store: error 100 "Unsupported".
  std::int32_t QueueSize() { return unsupported<std::int32_t>(u"QueueSize Get"); }
  void QueueSize_Let(std::int32_t) { unsupported<void>(u"QueueSize Let"); }
  bool JournalEnabled() { return unsupported<bool>(u"JournalEnabled Get"); }
  void JournalEnabled_Let(bool) { unsupported<void>(u"JournalEnabled Let"); }
  std::int32_t JournalQuota() { return unsupported<std::int32_t>(u"JournalQuota Get"); }
  void JournalQuota_Let(std::int32_t) { unsupported<void>(u"JournalQuota Let"); }
  std::int32_t Quota() { return unsupported<std::int32_t>(u"Quota Get"); }
  void Quota_Let(std::int32_t) { unsupported<void>(u"Quota Let"); }

  // Forms that differ from plain forwarding.
  template <class Body>
  auto reportedForm(std::u16string_view procedure, Body&& body) {
    return errors_.reported(procedure, std::forward<Body>(body));
  }
  void IQueue_SendMessage(const Ref<IMessage>& Message);
  void IQueue_AcknowledgeMessage(const Ref<IMessage>& Message);
  void Queue_SendMessage(const Ref<_Message>& Message);
  void Queue_AcknowledgeMessage(const Ref<_Message>& Message);
  Variant Queue_BeginTransaction();
  void Queue_Messages_Set(const Ref<_Messages>&) { errors_.notImplemented(u"Queue_Messages Set"); }
  void Queue_ReceiveEnable() { errors_.notImplemented(u"Queue_ReceiveEnable"); }
  void Queue_ReceiveDisable() { errors_.notImplemented(u"Queue_ReceiveDisable"); }
  Variant Queue_Transaction_Get() { return errors_.notImplemented(u"Queue_Transaction Get"), Variant(); }
  void Queue_Transaction_Set(const VARIANT&) { errors_.notImplemented(u"Queue_Transaction Set"); }

 private:
  template <class Result>
  Result unsupported(std::u16string_view member) {
    return errors_.reported(member, [&]() -> Result { throw Error(100, member, u"Unsupported"); });
  }
  DatabaseConnection& Database();
  String CreateLabel();
  String CreateMessage(std::u16string_view MessageType, std::u16string_view Queue, const String& Description,
                       StringRef Body);
  void refuseJournal(const char16_t* member) const;

  String name_ = u"InboundGateway";
  bool isJournal_ = false;
  bool compressMessages_ = false;
  bool inTransaction_ = false;
  Ref<_ProcessTrace> processTrace_;
  ErrorReports errors_;
  Ref<IDispatch> journal_;
  Ref<DbMessages> messages_;
  std::unique_ptr<DatabaseConnection> database_;
};

}  // namespace CorvaneQueue
