// The public queue: a facade over the back end of the configured store.
#pragma once

#include "ConnectionPoint.h"
#include "ErrorReports.h"
#include "IQueue.h"
#include "JournalRule.h"
#include "MSMQQueueInterface.h"
#include "Object.h"
#include "QueueForm.h"

namespace CorvaneQueue {

// Forwards to its back end through IQueue. Used before Initialize, it works on the queue
// "InboundGateway". Ending it aborts the back end's open transaction.
class PublicQueue final : public Object<PublicQueue, QueueForm<PublicQueue>, EventSource<__Queue>> {
 public:
  PublicQueue();
  ~PublicQueue();

  const Ref<_Journal>& Journal() const noexcept { return journal_; }
  void Journal_Set(const Ref<_Journal>& value);
  const Ref<_Messages>& Messages() const noexcept { return messages_; }
  void Messages_Set(const Ref<_Messages>& value);
  String MsgType();
  void MsgType_Let(StringRef value);
  String MsgID();
  void MsgID_Let(StringRef value);
  String Object();
  void Object_Let(StringRef value);
  String ObjectID();
  void ObjectID_Let(StringRef value);
  String Name();
  bool CompressMessages();
  String LastDocument();
  void QueueSize_Let(std::int32_t value);
  std::int32_t QueueSize();
  void JournalEnabled_Let(bool value);
  bool JournalEnabled();
  void JournalQuota_Let(std::int32_t value);
  std::int32_t JournalQuota();
  void Quota_Let(std::int32_t value);
  std::int32_t Quota();
  void ProcessTrace_Set(const Ref<_ProcessTrace>& value);
  void Initialize(StringRef Name, bool IsJournal);
  bool IsEmpty();
  void Purge();
  void SendMessage(const Ref<_Message>& Message);
  void SendDocument(StringRef RawDocument);
  void AcknowledgeMessage(const Ref<_Message>& Message);
  void AcknowledgeDocument(StringRef MessageID);
  void ReceiveEnable();
  void ReceiveDisable();
  Variant BeginTransaction();
  Variant Transaction();
  void Transaction_Set(const VARIANT& value);
  void Commit();
  void Abort();
  Ref<_Message> ReceiveNext();

  // Makes this the back end: its events are passed on from now on, and those of the one before no
  // longer. Initialize calls it with what it creates.
  void attach(Ref<IQueue> backEnd);
  // Raises evtArrived to the clients; both strings may be changed by them.
  void arrived(std::span<VARIANT> arguments);

 private:
  // Held during a call: the client may initialise the queue anew in a handler of its own.
  Ref<IQueue> backEnd();
  // One forwarded member under the common error pattern.
  template <auto Member, class... A>
  auto forward(std::u16string_view procedure, A&&... arguments) {
    return errors_.reported(procedure,
                            [&] { return call<Member>(backEnd(), std::forward<A>(arguments)...); });
  }
  enum class Store { Database, MessageQueuing };
  Store store();
  Store storeFor(std::u16string_view procedure) {
    return errors_.reported(procedure, [&] { return store(); });
  }
  Ref<_MSMQQueue> messageQueuing() { return query<_MSMQQueue>(backEnd_.get()); }

  // After something has been acknowledged for good.
  void keepJournal() {
    isJournalLeft_ = !keeper_.isDue();
    if (!isJournalLeft_) keeper_.look(Name());
  }

  ErrorReports errors_;
  JournalKeeper keeper_;
  bool isJournalLeft_ = false;  // what has been acknowledged since the keeper looked
  Ref<IQueue> backEnd_;
  Ref<_Journal> journal_;
  Ref<_Messages> messages_;
  Subscription relay_;  // passes the back end's event on
};

}  // namespace CorvaneQueue
