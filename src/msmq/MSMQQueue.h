// The queue of the Message Queuing store.
#pragma once

#include "ConnectionPoint.h"
#include "ErrorReports.h"
#include "IQueue.h"
#include "MessageBody.h"
#include "MSMQJournal.h"
#include "MSMQQueueInterface.h"
#include "QueueForm.h"
#include "RoutedQueue.h"

namespace CorvaneQueue {

template <class Self>
class MSMQQueueForm : public DispatchForm<_MSMQQueue> {
  FORM_SELF

 public:
  FORM_METHOD(MSMQQueue, ReceiveEnable)
  FORM_METHOD(MSMQQueue, ReceiveDisable)
  FORM_FUNCTION(MSMQQueue, BeginTransaction)
  FORM_GET(MSMQQueue, Transaction)
  FORM_SET(MSMQQueue, Transaction)
};

// One named queue, or its journal. Its two handles, for sending and for receiving, are opened on first use;
// a missing queue is created then. At most one transaction is open. Documents are handed out by arrival,
// one at a time. Errors pass unchanged.
class MSMQQueue final : public Object<MSMQQueue, QueueForm<MSMQQueue>, IQueueForm<MSMQQueue>,
                                      MSMQQueueForm<MSMQQueue>, EventSource<__MSMQQueue>>,
                        public RoutedQueue {
 public:
  static constexpr GUID classIdentity = {
      0xe1c35d72, 0x6a0f, 0x4b94, {0x97, 0x2b, 0x08, 0xd4, 0x6e, 0x53, 0xbf, 0xa1}};
  static constexpr const char16_t* className = u"MSMQQueue";
  using RoutedQueue::Object;

  MSMQQueue();
  ~MSMQQueue();

  // None for a journal.
  const Ref<MSMQJournal>& Journal() const noexcept { return journal_; }
  // Throws 13 for anything but an MSMQJournal, or an MSMQMessages below.
  template <class Interface>
  void Journal_Set(const Ref<Interface>& value) {
    journal_ = value ? queryClass<MSMQJournal>(value.get()) : nullptr;
  }
  const Ref<MSMQMessages>& Messages() const noexcept { return messages_; }
  template <class Interface>
  void Messages_Set(const Ref<Interface>& value) {
    messages_ = value ? queryClass<MSMQMessages>(value.get()) : nullptr;
  }
  const String& Name() const noexcept { return name_; }
  bool CompressMessages() const noexcept { return compressMessages_; }
  const String& LastDocument() const noexcept { return lastDocument_; }
  // Kilobytes; QueueSize and Quota are one setting.
  void QueueSize_Let(std::int32_t value) { Quota_Let(value); }
  std::int32_t QueueSize() { return Quota(); }
  void JournalEnabled_Let(bool value);
  bool JournalEnabled();
  void JournalQuota_Let(std::int32_t value);
  std::int32_t JournalQuota();
  void Quota_Let(std::int32_t value);
  std::int32_t Quota();
  void ProcessTrace_Set(const Ref<_ProcessTrace>& Trace);

  // Opens no handle. An object in use lets go of its handles and its armed notification, and aborts its
  // transaction: everything after it goes to the queue that is named. When the abort fails, nothing has
  // changed.
  void Initialize(StringRef Name, bool IsJournal);
  bool IsEmpty();
  // Of the queue that the object addresses. An open transaction is aborted first.
  void Purge();
  // Copies a message of this store into this queue.
  void SendMessage(MSMQMessage& Message);
  void SendDocument(StringRef RawDocument);
  // Removes the message with the same identifier, if it is there.
  void AcknowledgeMessage(const MSMQMessage& Message);
  // Finishes the pending document, if there is one, and arms the notification anew.
  void AcknowledgeDocument();
  void ReceiveEnable();
  void ReceiveDisable();
  // Aborts an open transaction first.
  Ref<IMSMQTransaction> BeginTransaction();
  const Ref<IMSMQTransaction>& Transaction() const noexcept { return transaction_; }
  void Transaction_Set(Ref<IMSMQTransaction> value) noexcept { transaction_ = std::move(value); }
  void Commit();
  void Abort();
  // Not served: error 100 "Not implemented".
  Ref<MSMQMessage> ReceiveNext() { throw Error(100, u"CorvaneQueue.MSMQQueue", u"Not implemented"); }

  // For the classes of this folder.
  bool IsJournal() const noexcept { return isJournal_; }
  String CreateLabel() const { return CorvaneQueue::CreateLabel(fields_); }
  void ParseLabel(StringRef label) { CorvaneQueue::ParseLabel(label, fields_); }
  // The handles, opened on first use.
  const Ref<IMSMQQueue>& SendQueue();
  const Ref<IMSMQQueue>& RecvQueue();

  // Forms that differ from plain forwarding.
  void IQueue_AcknowledgeDocument(StringRef) { AcknowledgeDocument(); }
  void IQueue_SendMessage(const Ref<IMessage>& Message) {
    SendMessage(*queryClass<MSMQMessage>(Message.get()));
  }
  void IQueue_AcknowledgeMessage(const Ref<IMessage>& Message) {
    AcknowledgeMessage(*queryClass<MSMQMessage>(Message.get()));
  }
  std::int32_t IQueue_BeginTransaction() {
    return call<&IMSMQTransaction::get_Transaction>(BeginTransaction());
  }
  void Queue_AcknowledgeDocument(StringRef) { AcknowledgeDocument(); }
  void Queue_SendMessage(const Ref<_Message>& Message) {
    SendMessage(*queryClass<MSMQMessage>(Message.get()));
  }
  void Queue_AcknowledgeMessage(const Ref<_Message>& Message) {
    AcknowledgeMessage(*queryClass<MSMQMessage>(Message.get()));
  }
  void Queue_ReceiveEnable() { errors_.notImplemented(u"Queue_ReceiveEnable"); }
  void Queue_ReceiveDisable() { errors_.notImplemented(u"Queue_ReceiveDisable"); }
  Variant Queue_BeginTransaction() { return Ref<IDispatch>(BeginTransaction()); }
  Variant Queue_Transaction_Get() { return Ref<IDispatch>(Transaction()); }
  void Queue_Transaction_Set(const VARIANT& value);

 private:
  void bind(const String& name, bool isJournal);
  void updateAndRefresh();
  BodyForm form() { return {compressMessages_, name_, errors_}; }
  // Runs a call with its transaction argument: the open transaction; without one `withoutOne` where the queue
  // is transactional, and nothing where it is not.
  void withTransaction(bool acceptsOne, std::int32_t withoutOne,
                       const std::function<void(Variant& transaction)>& run);
  Ref<IMSMQMessage> receiveCurrent(const Ref<IMSMQQueue>& queue, bool acceptsOne, std::int32_t withoutOne,
                                   Variant timeout);
  void send(const Ref<IMSMQMessage>& message);
  // The notification of Message Queuing. Reports its errors and raises none.
  void arrived(const VARIANT& objQueue);
  void receiveOnArrival(Ref<IDispatch> queue);
  void dropEvent() noexcept;

  ErrorReports errors_;
  Ref<MSMQUtility> utility_;
  String name_ = u"InboundGateway";
  bool isJournal_ = false;
  bool compressMessages_ = false;
  bool isInitialized_ = false;
  bool isMessagePending_ = false;
  String lastDocument_;
  Ref<MSMQJournal> journal_;
  Ref<MSMQMessages> messages_;
  Ref<_ProcessTrace> processTrace_;
  Ref<IMSMQQueue> receiveHandle_;
  Ref<IMSMQQueue> sendHandle_;
  Ref<IMSMQCoordinatedTransactionDispenser> dispenser_;
  Ref<IMSMQTransaction> transaction_;
  Ref<IMSMQEvent> event_;
  Subscription arrival_;
};

}  // namespace CorvaneQueue
