#include "MSMQQueue.h"

#include "LateBound.h"
#include "MessageBody.h"
#include "MessageSearch.h"
#include "Platform.h"
#include "QueueCalls.h"
#include "StoredText.h"

namespace CorvaneQueue {

namespace {
constexpr std::int32_t purgeTimeout = 10;  // milliseconds
constexpr std::int32_t warningNumber = 100;
constexpr const char16_t* arrivalProcedure = u"mobjMSMQQueueEvent_Arrived";
}  // namespace

MSMQQueue::MSMQQueue() : errors_(className, ErrorReports::Naming::InOneCall), utility_(make<MSMQUtility>()) {}

MSMQQueue::~MSMQQueue() {
  utility_ = nullptr;
  journal_ = nullptr;
  messages_ = nullptr;
  if (transaction_) {
    const KeptErrorInformation kept;
    Variant omitted = Variant::omitted();
    transaction_->raw_Abort(omitted.address(), omitted.address());
  }
  dropEvent();
}

void MSMQQueue::ProcessTrace_Set(const Ref<_ProcessTrace>& Trace) {
  processTrace_ = Trace;
  errors_.traceBy(Trace);
}

void MSMQQueue::Initialize(StringRef Name, bool IsJournal) {
  const String name(Name);  // which may be this object's own
  Abort();
  dropEvent();
  isMessagePending_ = false;
  receiveHandle_ = nullptr;
  sendHandle_ = nullptr;
  bind(name, IsJournal);
}

void MSMQQueue::bind(const String& name, bool isJournal) {
  name_ = name;
  isJournal_ = isJournal;
  journal_ = nullptr;
  if (!isJournal) {
    journal_ = make<MSMQJournal>();
    journal_->Initialize(name_);
  }
  messages_ = make<MSMQMessages>();
  messages_->Initialize(*this);
  compressMessages_ = readsCompressMessages(std::u16string(name_.view()) + u"Queue");
  isInitialized_ = true;
}

const Ref<IMSMQQueue>& MSMQQueue::SendQueue() {
  if (!sendHandle_) sendHandle_ = utility_->OpenQueue(name_, MQ_SEND_ACCESS, isJournal_);
  return sendHandle_;
}
const Ref<IMSMQQueue>& MSMQQueue::RecvQueue() {
  if (!receiveHandle_) receiveHandle_ = utility_->OpenQueue(name_, MQ_RECEIVE_ACCESS, isJournal_);
  return receiveHandle_;
}

// Stores what was changed, and lets the receive handle know.
void MSMQQueue::updateAndRefresh() {
  call<&IMSMQQueueInfo::raw_Update>(infoOf(SendQueue()));
  call<&IMSMQQueueInfo::raw_Refresh>(infoOf(RecvQueue()));
}

std::int32_t MSMQQueue::Quota() { return call<&IMSMQQueueInfo::get_Quota>(infoOf(SendQueue())); }
void MSMQQueue::Quota_Let(std::int32_t value) {
  call<&IMSMQQueueInfo::put_Quota>(infoOf(SendQueue()), value);
  updateAndRefresh();
}

bool MSMQQueue::JournalEnabled() {
  return call<&IMSMQQueueInfo::get_Journal>(infoOf(SendQueue())) == MQ_JOURNAL;
}
void MSMQQueue::JournalEnabled_Let(bool value) {
  call<&IMSMQQueueInfo::put_Journal>(infoOf(SendQueue()), value ? MQ_JOURNAL : MQ_JOURNAL_NONE);
  updateAndRefresh();
}

std::int32_t MSMQQueue::JournalQuota() {
  return call<&IMSMQQueueInfo::get_JournalQuota>(infoOf(SendQueue()));
}
void MSMQQueue::JournalQuota_Let(std::int32_t value) {
  const auto info = infoOf(SendQueue());
  const LONG held = call<&IMSMQQueueInfo::get_Journal>(info);
  call<&IMSMQQueueInfo::put_JournalQuota>(info, value);
  call<&IMSMQQueueInfo::put_Journal>(info, held);
  updateAndRefresh();
}

bool MSMQQueue::IsEmpty() {
  call<&IMSMQQueue::raw_Reset>(RecvQueue());
  return !peek<&IMSMQQueue::raw_PeekCurrent>(RecvQueue(), Variant::omitted(), Variant::omitted(),
                                             arrivalTimeout);
}

void MSMQQueue::Purge() {
  const auto queue = RecvQueue();
  call<&IMSMQQueue::raw_Reset>(queue);
  const bool isInTransaction = isTransactional(queue);
  if (isInTransaction) BeginTransaction();
  while (receiveCurrent(queue, isInTransaction, MQ_NO_TRANSACTION, purgeTimeout)) continue;
  if (isInTransaction) Commit();
}

void MSMQQueue::SendDocument(StringRef RawDocument) {
  const auto message = platform().messageQueuing->createMessage();
  call<&IMSMQMessage::put_Label>(message, CreateLabel());
  if (!isInitialized_) bind(String(name_), isJournal_);
  BSTR document = RawDocument.bstr();
  setBody(message, Variant::reference(&document), form());
  send(message);
}

void MSMQQueue::SendMessage(MSMQMessage& Message) {
  const auto message = platform().messageQueuing->createMessage();
  call<&IMSMQMessage::put_Label>(message, call<&IMSMQMessage::get_Label>(Message.QueueMessage()));
  if (!isInitialized_) bind(String(name_), isJournal_);
  Message.LoadBody();
  copyBody(Message.QueueMessage(), message, form());
  send(message);
}

void MSMQQueue::send(const Ref<IMSMQMessage>& message) {
  call<&IMSMQMessage::put_Delivery>(message, MQMSG_DELIVERY_RECOVERABLE);
  const auto queue = SendQueue();
  IDispatch* const destination = queue.get();
  withTransaction(isTransactional(queue), MQ_SINGLE_MESSAGE, [&](Variant& transaction) {
    call<&IMSMQMessage::raw_Send>(message, destination, transaction);
  });
}

// The open transaction goes by reference: what the call leaves in the argument is the transaction from then
// on.
void MSMQQueue::withTransaction(bool acceptsOne, std::int32_t withoutOne,
                                const std::function<void(Variant& transaction)>& run) {
  if (acceptsOne && transaction_) {
    TransactionByReference transaction(transaction_);
    run(transaction.argument());
    transaction.takeBack();
  } else {
    Variant none = acceptsOne ? Variant(withoutOne) : Variant::omitted();
    run(none);
  }
}

Ref<IMSMQMessage> MSMQQueue::receiveCurrent(const Ref<IMSMQQueue>& queue, bool acceptsOne,
                                            std::int32_t withoutOne, Variant timeout) {
  Variant wantDestinationQueue(false);
  Variant wantBody(false);
  Ref<IMSMQMessage> message;
  withTransaction(acceptsOne, withoutOne, [&](Variant& transaction) {
    message =
        call<&IMSMQQueue::raw_ReceiveCurrent>(queue, transaction, wantDestinationQueue, wantBody, timeout);
  });
  return message;
}

// ---- Transactions

Ref<IMSMQTransaction> MSMQQueue::BeginTransaction() {
  if (!dispenser_) dispenser_ = platform().messageQueuing->createTransactionDispenser();
  Abort();
  transaction_ = call<&IMSMQCoordinatedTransactionDispenser::raw_BeginTransaction>(dispenser_);
  return transaction_;
}

void MSMQQueue::Commit() {
  if (!transaction_) return;
  Variant omitted = Variant::omitted();
  call<&IMSMQTransaction::raw_Commit>(transaction_, omitted, omitted, omitted);
  transaction_ = nullptr;
}

void MSMQQueue::Abort() {
  if (!transaction_) return;
  Variant omitted = Variant::omitted();
  call<&IMSMQTransaction::raw_Abort>(transaction_, omitted, omitted);
  transaction_ = nullptr;
}

void MSMQQueue::Queue_Transaction_Set(const VARIANT& value) {
  IUnknown* const object = objectIn(value);
  Transaction_Set(object == nullptr ? nullptr : query<IMSMQTransaction>(object));
}

// ---- Arrival and acknowledgement

void MSMQQueue::dropEvent() noexcept {
  arrival_.end();
  event_ = nullptr;
}

void MSMQQueue::ReceiveEnable() {
  isMessagePending_ = false;
  const auto event = platform().messageQueuing->createEvent();
  dropEvent();
  event_ = event;
  arrival_ = Subscription(event_.get(), msmqArrival,
                          [this](std::span<VARIANT> arguments) { arrived(arguments.back()); });
  Variant omitted = Variant::omitted();
  call<&IMSMQQueue::raw_EnableNotification>(RecvQueue(), event_, omitted, omitted);
}

void MSMQQueue::ReceiveDisable() {
  if (!receiveHandle_) return;
  call<&IMSMQQueue::raw_Close>(receiveHandle_);
  receiveHandle_ = nullptr;
  dropEvent();
}

void MSMQQueue::arrived(const VARIANT& objQueue) {
  const Ref<MSMQQueue> kept(this);  // a client may release it in its handler
  try {
    receiveOnArrival(query<IDispatch>(objectIn(objQueue)));
  } catch (...) {
    errors_.noted(arrivalProcedure, Error::current());
  }
}

void MSMQQueue::receiveOnArrival(Ref<IDispatch> queue) {
  const Variant information = lateBoundGet(queue.get(), u"QueueInfo");
  const Variant transactional =
      lateBoundGet(query<IDispatch>(objectIn(information.get())).get(), u"IsTransactional");
  const Variant omitted = Variant::omitted();
  Variant answer;
  if (transactional.type() != VT_NULL && toBoolean(transactional.get())) {
    if (!transaction_) BeginTransaction();
    LONG timeout = arrivalTimeout;
    Variant byReference;
    byReference.address()->vt = VT_I4 | VT_BYREF;
    byReference.address()->plVal = &timeout;
    withTransaction(true, MQ_NO_TRANSACTION, [&](Variant& transaction) {
      answer =
          lateBoundInvoke(queue.get(), u"Receive", std::array{transaction, omitted, omitted, byReference});
    });
  } else {
    answer = lateBoundInvoke(queue.get(), u"Peek", std::array{omitted, omitted, Variant(arrivalTimeout)});
  }
  Ref<IMSMQMessage> message;
  if (IUnknown* const found = objectIn(answer.get())) message = query<IMSMQMessage>(found);
  answer = {};
  if (!message) {
    errors_.warned(
        arrivalProcedure, warningNumber,
        // meant: the published text
        u"Event raised but no message recieved after '" + decimal(arrivalTimeout) + u"' milliseconds.");
    ReceiveEnable();
    return;
  }
  isMessagePending_ = true;
  lastDocument_ = toString(utility_->GetBody(message.get()));
  String identifier = utility_->IDToString(call<&IMSMQMessage::get_Id>(message).get());
  ParseLabel(call<&IMSMQMessage::get_Label>(message));
  message = nullptr;
  queue = nullptr;
  // The last argument stands first.
  Variant arguments[] = {Variant::reference(identifier.address()),
                         Variant::reference(lastDocument_.address())};
  VARIANT raised[] = {arguments[0].get(), arguments[1].get()};
  const String queueName = name_;  // a handler may change both
  const String document = identifier;
  errors_.notedSinks(fire(evtArrivedId, raised), queueName, document);
}

void MSMQQueue::AcknowledgeDocument() {
  if (!receiveHandle_ || !isMessagePending_) return;
  isMessagePending_ = false;
  const auto queue = receiveHandle_;
  Variant omitted = Variant::omitted();
  if (!isTransactional(queue)) {
    Variant wantDestinationQueue(false);
    Variant wantBody(false);
    call<&IMSMQQueue::raw_Receive>(queue, omitted, wantDestinationQueue, wantBody, omitted);
  } else if (!transaction_) {
    errors_.warned(u"AcknowledgeDocument", warningNumber, u"Unexpected state: transaction committed.");
  } else {
    Commit();
  }
  call<&IMSMQQueue::raw_EnableNotification>(queue, event_, omitted, omitted);
}

void MSMQQueue::AcknowledgeMessage(const MSMQMessage& Message) {
  const auto queue = RecvQueue();
  call<&IMSMQQueue::raw_Reset>(queue);
  if (!moveOnto(queue, *utility_, Message)) return;
  receiveCurrent(queue, isTransactional(queue), MQ_NO_TRANSACTION, Variant::omitted());
}

}  // namespace CorvaneQueue
