#include "PublicQueue.h"

#include "DbQueue.h"
#include "DbUtility.h"
#include "MSMQQueue.h"

namespace CorvaneQueue {

PublicQueue::PublicQueue() : errors_(u"Queue", ErrorReports::Naming::InOneCall) {}

PublicQueue::~PublicQueue() {
  Journal_Set(nullptr);
  Messages_Set(nullptr);
  relay_.end();
  if (backEnd_) {
    // An error of it is nobody's any more; one that is on its way to the client must still arrive.
    const KeptErrorInformation kept;
    backEnd_->raw_Abort();
    try {
      if (isJournalLeft_) keeper_.look(Name());
    } catch (const Error&) {  // somebody else will look
    }
  }
  backEnd_ = nullptr;
  errors_.releaseTrace();
}

Ref<IQueue> PublicQueue::backEnd() {
  if (!backEnd_) Initialize(String(u"InboundGateway"), false);
  return backEnd_;
}

void PublicQueue::attach(Ref<IQueue> backEnd) {
  Subscription relay;
  if (tryQuery<IConnectionPointContainer>(backEnd.get()))  // not every store raises events
    relay = Subscription(backEnd.get(), arrivalKind<__MSMQQueue>, [this](std::span<VARIANT> arguments) {
      const Ref<PublicQueue> kept(this);  // a client may release it in its handler
      kept->arrived(arguments);
    });
  relay_ = std::move(relay);
  backEnd_ = std::move(backEnd);
}

void PublicQueue::arrived(std::span<VARIANT> arguments) {
  const String document = toString(arguments.front());  // a handler may change it
  const Ref<IQueue> from = backEnd_;
  const auto failures = fire(evtArrivedId, arguments);
  if (!failures.empty()) errors_.notedSinks(failures, call<&IQueue::get_Name>(from), document);
}

void PublicQueue::Initialize(StringRef Name, bool IsJournal) {
  errors_.reported(u"Initialize", [&] {
    const Ref<IUtility> utility = make<DbUtility>();
    // Meant: the setting is read anew for each comparison.
    String type = call<&IUtility::get_QueueStoreType>(utility);
    if (type == u"db")
      attach(make<DbQueue>());
    else if (type = call<&IUtility::get_QueueStoreType>(utility); type == u"msmq")
      attach(make<MSMQQueue>());
    if (!backEnd_)
      throw Error(ErrorNumber::ObjectNotSet, {},
                  u"Object not set: no queue store is in use, because the setting QueueStoreType is \"" +
                      std::u16string(type.view()) + u"\"; set it to \"db\" or \"msmq\".");
    call<&IQueue::raw_Initialize>(backEnd(), Name, IsJournal);
  });
}

PublicQueue::Store PublicQueue::store() {
  return tryQuery<_MSMQQueue>(backEnd().get()) ? Store::MessageQueuing : Store::Database;
}

void PublicQueue::ProcessTrace_Set(const Ref<_ProcessTrace>& value) {
  errors_.reported(u"ProcessTrace Set", [&] {
    call<&IQueue::putref_ProcessTrace>(backEnd(), value);
    errors_.traceBy(value);
  });
}

void PublicQueue::Journal_Set(const Ref<_Journal>& value) { journal_ = value; }
void PublicQueue::Messages_Set(const Ref<_Messages>& value) { messages_ = value; }

String PublicQueue::MsgType() { return forward<&IQueue::get_MsgType>(u"MsgType Get"); }
void PublicQueue::MsgType_Let(StringRef value) { forward<&IQueue::put_MsgType>(u"MsgType Let", value); }
String PublicQueue::MsgID() { return forward<&IQueue::get_MsgID>(u"MsgID Get"); }
void PublicQueue::MsgID_Let(StringRef value) { forward<&IQueue::put_MsgID>(u"MsgID Let", value); }
String PublicQueue::Object() { return forward<&IQueue::get_Object>(u"Object Get"); }
void PublicQueue::Object_Let(StringRef value) { forward<&IQueue::put_Object>(u"Object Let", value); }
String PublicQueue::ObjectID() { return forward<&IQueue::get_ObjectID>(u"ObjectID Get"); }
void PublicQueue::ObjectID_Let(StringRef value) { forward<&IQueue::put_ObjectID>(u"ObjectID Let", value); }
String PublicQueue::Name() { return forward<&IQueue::get_Name>(u"Name Get"); }
bool PublicQueue::CompressMessages() {
  return forward<&IQueue::get_CompressMessages>(u"CompressMessages Get");
}
String PublicQueue::LastDocument() { return forward<&IQueue::get_LastDocument>(u"LastDocument Get"); }
void PublicQueue::QueueSize_Let(std::int32_t value) {
  forward<&IQueue::put_QueueSize>(u"QueueSize Let", value);
}
std::int32_t PublicQueue::QueueSize() { return forward<&IQueue::get_QueueSize>(u"QueueSize Get"); }
void PublicQueue::JournalEnabled_Let(bool value) {
  forward<&IQueue::put_JournalEnabled>(u"JournalEnabled Let", value);
}
bool PublicQueue::JournalEnabled() { return forward<&IQueue::get_JournalEnabled>(u"JournalEnabled Get"); }
void PublicQueue::JournalQuota_Let(std::int32_t value) {
  forward<&IQueue::put_JournalQuota>(u"JournalQuota Let", value);
}
std::int32_t PublicQueue::JournalQuota() { return forward<&IQueue::get_JournalQuota>(u"JournalQuota Get"); }
void PublicQueue::Quota_Let(std::int32_t value) { forward<&IQueue::put_Quota>(u"Quota Let", value); }
std::int32_t PublicQueue::Quota() { return forward<&IQueue::get_Quota>(u"Quota Get"); }
bool PublicQueue::IsEmpty() { return forward<&IQueue::raw_IsEmpty>(u"IsEmpty"); }
void PublicQueue::Purge() { forward<&IQueue::raw_Purge>(u"Purge"); }
void PublicQueue::SendDocument(StringRef RawDocument) {
  forward<&IQueue::raw_SendDocument>(u"SendDocument", RawDocument);
}
void PublicQueue::AcknowledgeDocument(StringRef MessageID) {
  forward<&IQueue::raw_AcknowledgeDocument>(u"AcknowledgeDocument", MessageID);
  keepJournal();
}
void PublicQueue::Commit() {
  forward<&IQueue::raw_Commit>(u"Commit");
  keepJournal();
}
void PublicQueue::Abort() { forward<&IQueue::raw_Abort>(u"Abort"); }

void PublicQueue::SendMessage(const Ref<_Message>& Message) {
  errors_.reported(u"SendMessage", [&] {
    const auto queue = backEnd();
    call<&IQueue::raw_SendMessage>(queue, query<IMessage>(Message.get()));
  });
}

void PublicQueue::AcknowledgeMessage(const Ref<_Message>& Message) {
  errors_.reported(u"AcknowledgeMessage", [&] {
    const auto queue = backEnd();
    call<&IQueue::raw_AcknowledgeMessage>(queue, query<IMessage>(Message.get()));
  });
}

Ref<_Message> PublicQueue::ReceiveNext() {
  return errors_.reported(u"ReceiveNext", [&]() -> Ref<_Message> {
    const auto message = call<&IQueue::raw_ReceiveNext>(backEnd());
    return message ? query<_Message>(message.get()) : nullptr;
  });
}

// The members that only the Message Queuing store serves. "Not implemented" is raised outside the
// error pattern: it is a report of its own.
void PublicQueue::ReceiveEnable() {
  constexpr const char16_t* procedure = u"ReceiveEnableGet";  // meant: the published source of its errors
  if (storeFor(procedure) != Store::MessageQueuing) return errors_.notImplemented(procedure);
  errors_.reported(procedure, [&] { call<&_MSMQQueue::raw_ReceiveEnable>(messageQueuing()); });
}

void PublicQueue::ReceiveDisable() {
  constexpr const char16_t* procedure = u"ReceiveDisable";
  if (storeFor(procedure) != Store::MessageQueuing) return errors_.notImplemented(procedure);
  errors_.reported(procedure, [&] { call<&_MSMQQueue::raw_ReceiveDisable>(messageQueuing()); });
}

Variant PublicQueue::BeginTransaction() {
  return errors_.reported(u"BeginTransaction", [&]() -> Variant {
    if (store() == Store::Database) return call<&IQueue::raw_BeginTransaction>(backEnd());
    return Ref<IDispatch>(call<&_MSMQQueue::raw_BeginTransaction>(messageQueuing()));
  });
}

Variant PublicQueue::Transaction() {
  constexpr const char16_t* procedure = u"Transaction Get";
  if (storeFor(procedure) == Store::Database) return errors_.notImplemented(procedure), Variant();
  return errors_.reported(procedure, [&]() -> Variant {
    return Ref<IDispatch>(call<&_MSMQQueue::get_Transaction>(messageQueuing()));
  });
}

void PublicQueue::Transaction_Set(const VARIANT& value) {
  constexpr const char16_t* procedure = u"Transaction Set";
  if (storeFor(procedure) == Store::Database) return errors_.notImplemented(procedure);
  errors_.reported(procedure, [&] {
    IUnknown* object = nullptr;
    throwIfFailedPlain(detail::objectIn(value, object));
    const auto transaction = object == nullptr ? nullptr : query<IMSMQTransaction>(object);
    call<&_MSMQQueue::putref_Transaction>(messageQueuing(), transaction);
  });
}

}  // namespace CorvaneQueue
