#include "DbQueue.h"

#include "Dates.h"
#include "DbJournal.h"
#include "Platform.h"
#include "StoreCalls.h"

namespace CorvaneQueue {

namespace {

Date wholeSecondNow() {
  const SystemTime now = platform().system->GetSystemTime();
  return dateOf({dayNumber(now.year, now.month, now.day), now.hour * 3600 + now.minute * 60 + now.second});
}

}  // namespace

DbQueue::DbQueue() : errors_(className, ErrorReports::Naming::InOneCall) {}
DbQueue::~DbQueue() = default;

void DbQueue::ProcessTrace_Set(const Ref<_ProcessTrace>& Trace) {
  errors_.reported(u"ProcessTrace Set", [&] {
    processTrace_ = Trace;
    errors_.traceBy(Trace);
  });
}

// A lost connection is replaced, but never silently inside a client transaction.
DatabaseConnection& DbQueue::Database() {
  auto* const database = errors_.reported(u"Database Get", [&] {
    if (database_ && database_->Connection()->State() != adStateOpen) {
      database_.reset();
      if (std::exchange(inTransaction_, false))
        throw Error(E_FAIL, {},
                    u"The connection to the message store was lost inside a transaction: what it did is "
                    u"undone. Begin it again.");
    }
    if (!database_) database_ = platform().host->createDatabaseConnection();
    return database_.get();
  });
  if (database == nullptr)  // a handler that does not raise has heard of it
    throw Error(ErrorNumber::ObjectNotSet, {},
                u"Object not set: there is no connection to the message store.");
  return *database;
}

void DbQueue::Initialize(StringRef Name, bool IsJournal) {
  errors_.reported(u"Initialize", [&] {
    if (inTransaction_) Abort();  // it was begun for the queue before
    messages_ = nullptr;
    name_ = String(Name);
    isJournal_ = IsJournal;
    if (!IsJournal) {
      const auto journal = make<DbJournal>();
      journal_ = asDispatch(journal);
      journal->Initialize(name_);
    }
    compressMessages_ = readsCompressMessages(std::u16string(name_.view()) + u"DbQueue");
  });
}

Ref<DbMessages> DbQueue::Messages() {
  return errors_.reported(u"Messages", [&] {
    if (!messages_) {
      messages_ = make<DbMessages>();
      messages_->Initialize(*this);
    }
    return messages_;
  });
}

String DbQueue::CreateLabel() {
  return errors_.reported(u"CreateLabel", [&] { return CorvaneQueue::CreateLabel(fields_); });
}

String DbQueue::CreateMessage(std::u16string_view MessageType, std::u16string_view Queue,
                              const String& Description, StringRef Body) {
  return errors_.reported(u"CreateMessage", [&] {
    const Date created = wholeSecondNow();
    return store::createMessage(
        Database(), MessageType, Queue, Description, created, Body,
        inTransaction_ ? store::Within::OpenTransaction : store::Within::OwnTransaction);
  });
}

void DbQueue::SendDocument(StringRef RawDocument) {
  errors_.reported(u"SendDocument",
                   [&] { CreateMessage(store::messageType, name_, CreateLabel(), RawDocument); });
}

void DbQueue::SendMessage(const DbMessage& Message) {
  errors_.reported(u"SendMessage",
                   [&] { CreateMessage(store::messageType, name_, Message.Label(), Message.bodyText()); });
}

void DbQueue::refuseJournal(const char16_t* member) const {
  if (isJournal_) throw Error(100, member, u"Not supported for journal");
}

Ref<DbMessage> DbQueue::ReceiveNext() {
  return errors_.reported(u"ReceiveNext", [&]() -> Ref<DbMessage> {
    refuseJournal(u"ReceiveNext");
    const auto records = store::waitingMessages(Database(), name_, store::Reading::One);
    if (!store::hasRows(records)) return {};
    records->MoveFirst();
    return make<DbMessage>(
        toString(records->Field(store::columnID)), toString(records->Field(store::columnDescription)),
        toDate(records->Field(store::columnCreated).get()), toString(records->Field(store::columnType)),
        toString(records->TakeField(store::columnBody)));
  });
}

void DbQueue::AcknowledgeDocument(StringRef MessageID) {
  errors_.reported(u"AcknowledgeDocument", [&] {
    refuseJournal(u"AcknowledgeDocument");
    store::acknowledge(Database(), MessageID);
  });
}

void DbQueue::AcknowledgeMessage(const DbMessage& Message) {
  errors_.reported(u"AcknowledgeMessage", [&] { AcknowledgeDocument(Message.ID()); });
}

bool DbQueue::IsEmpty() {
  return errors_.reported(u"IsEmpty", [&] { return store::waitingCount(Database(), name_) <= 0; });
}

void DbQueue::Purge() {
  errors_.reported(u"Purge", [&] {
    store::deleteMessages(Database(), name_,
                          isJournal_ ? store::Documents::Acknowledged : store::Documents::Waiting);
  });
}

std::int32_t DbQueue::BeginTransaction() {
  return errors_.reported(u"BeginTransaction", [&]() -> std::int32_t {
    if (inTransaction_) return 0;
    const std::int32_t level = Database().Connection()->BeginTrans();
    inTransaction_ = true;
    return level;
  });
}

void DbQueue::Commit() {
  errors_.reported(u"Commit", [&] {
    if (!inTransaction_) return;
    const auto connection = Database().Connection();
    inTransaction_ = false;  // a commit that fails has undone everything
    connection->CommitTrans();
  });
}

void DbQueue::Abort() {
  errors_.reported(u"Abort", [&] {
    if (!inTransaction_) return;
    const auto connection = Database().Connection();
    inTransaction_ = false;
    connection->RollbackTrans();
  });
}

void DbQueue::IQueue_SendMessage(const Ref<IMessage>& Message) {
  errors_.reported(u"IQueue_SendMessage", [&] { SendMessage(*queryClass<DbMessage>(Message.get())); });
}

void DbQueue::IQueue_AcknowledgeMessage(const Ref<IMessage>& Message) {
  errors_.reported(u"IQueue_AcknowledgeMessage",
                   [&] { AcknowledgeMessage(*queryClass<DbMessage>(Message.get())); });
}

// Takes the message of any store by its public properties.
void DbQueue::Queue_SendMessage(const Ref<_Message>& Message) {
  errors_.reported(u"Queue_SendMessage", [&] {
    const String label = call<&_Message::get_Label>(Message);
    const String body = toString(call<&_Message::get_Body>(Message));
    CreateMessage(store::messageType, name_, label, body);
  });
}

void DbQueue::Queue_AcknowledgeMessage(const Ref<_Message>& Message) {
  errors_.reported(u"Queue_AcknowledgeMessage",
                   [&] { AcknowledgeDocument(call<&_Message::get_ID>(Message)); });
}

Variant DbQueue::Queue_BeginTransaction() {
  return errors_.reported(u"Queue_BeginTransaction", [&] { return Variant(BeginTransaction()); });
}

}  // namespace CorvaneQueue
