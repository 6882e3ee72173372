#include "OpenQueue.h"

#include "QueuedMessage.h"
#include "QueueEvent.h"

namespace CorvaneQueue::platform_layer {

namespace {

// Of a parameter that is true when it is left out.
QueueService::Body wanted(const VARIANT* argument) {
  if (argument == nullptr) return QueueService::Body::Wanted;
  if (argument->vt == VT_BOOL && argument->boolVal == VARIANT_FALSE) return QueueService::Body::NotWanted;
  const Variant value(*argument);
  return value.isOmitted() || toBoolean(value.get()) ? QueueService::Body::Wanted
                                                     : QueueService::Body::NotWanted;
}

ArrivalSignals::Deadline deadlineOf(const VARIANT* timeout) {
  if (timeout == nullptr) return std::nullopt;
  const Variant value(*timeout);
  if (value.isOmitted()) return std::nullopt;
  const std::int32_t milliseconds = toInt32(value.get());
  if (milliseconds < 0) return std::nullopt;
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

Prospect prospectOf(const Sight& sight) {
  if (sight.message) return Prospect::Ready;
  return sight.isHeldUp ? Prospect::HeldUp : Prospect::Nothing;
}
}  // namespace

OpenQueue::OpenQueue(std::shared_ptr<QueueService> service, QueueRecord queue, LONG access, String formatName)
    : service_(std::move(service)),
      queue_(std::move(queue)),
      box_{queue_.id, queue_.address.isJournal},
      access_(access),
      info_(make<QueueInfo>(service_, queue_, std::move(formatName))) {}

void OpenQueue::mustAllow(bool isAllowed, std::u16string_view what) const {
  if (!isOpen_)
    queuingFailed(MQ_ERROR_INVALID_HANDLE, u"The handle of " + shownName(queue_.address) + u" is closed.");
  if (!isAllowed)
    queuingFailed(MQ_ERROR_ACCESS_DENIED, std::u16string(what) + u" is not allowed with this handle of " +
                                              shownName(queue_.address) + u": open the queue for that.");
}

void OpenQueue::alreadyReceived() const {
  queuingFailed(MQ_ERROR_MESSAGE_ALREADY_RECEIVED,
                u"The message at the cursor of " + shownName(queue_.address) +
                    u" has been received by somebody else; go on with PeekNext, or Reset.");
}

HRESULT OpenQueue::get_QueueInfo(IMSMQQueueInfo** result) noexcept {
  return answer(result, [&] { return info_; });
}

HRESULT OpenQueue::raw_Reset() noexcept {
  return answer([&] {
    mustAllow(true, {});
    cursor_ = {};
    ahead_ = {};
  });
}

HRESULT OpenQueue::raw_Close() noexcept {
  return answer([&] {
    mustAllow(true, {});
    isOpen_ = false;
  });
}

bool OpenQueue::attempt(const VARIANT* timeout, const Attempt& tried) {
  const auto deadline = deadlineOf(timeout);
  Waiter waiter;
  waiter.box = box_.number();
  waiter.look = [&] {
    const Prospect seen = tried();
    if (seen == Prospect::Ready) return seen;
    service_->mustBeThere();  // nothing there: is the queue, and where we look for it?
    service_->find(queue_.id, queue_.address);
    return seen;
  };
  return service_->signals().wait(waiter, deadline);
}

Sight OpenQueue::visibleBehind(std::int64_t position) {
  return service_->firstVisible(box_, position, ahead_);
}

// What the cursor stands on.
Sight OpenQueue::current() {
  if (cursor_.state != Cursor::State::On) return visibleBehind(cursor_.position);
  auto header = service_->visibleAt(box_, cursor_.position);
  if (!header) alreadyReceived();
  return {std::move(header)};
}

Sight OpenQueue::next() {
  if (cursor_.state == Cursor::State::On) return visibleBehind(cursor_.position);
  auto standing = visibleBehind(cursor_.position);
  return standing.message ? visibleBehind(standing.message->position) : standing;
}

Ref<IMSMQMessage> OpenQueue::peek(Of which, const VARIANT* wantBody, const VARIANT* timeout,
                                  const std::function<Sight()>& find) {
  mustRead(u"Peeking");
  Ref<IMSMQMessage> message;
  std::int64_t missed = 0;
  attempt(timeout, [&] {
    while (true) {
      Sight sight = find();
      if (!sight.message) return prospectOf(sight);
      std::shared_ptr<const Variant> body;
      if (wanted(wantBody) == QueueService::Body::Wanted) {
        body = service_->body(box_, *sight.message);
        if (!body) {
          ahead_ = {};
          service_->missing(*sight.message, missed);
          continue;
        }
      }
      if (which == Of::Cursor) cursor_ = {Cursor::State::On, sight.message->position};
      message = make<QueuedMessage>(box_, std::move(*sight.message), std::move(body), service_->identity());
      return Prospect::Ready;
    }
  });
  return message;
}

HRESULT OpenQueue::raw_PeekCurrent(VARIANT*, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                   IMSMQMessage** result) noexcept {
  return answer(result,
                [&] { return peek(Of::Cursor, WantBody, ReceiveTimeout, [&] { return current(); }); });
}

HRESULT OpenQueue::raw_PeekNext(VARIANT*, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                IMSMQMessage** result) noexcept {
  return answer(result, [&] {
    mustRead(u"Peeking");
    if (cursor_.state == Cursor::State::BeforeFirst)
      queuingFailed(MQ_ERROR_ILLEGAL_CURSOR_ACTION,
                    u"PeekNext on " + shownName(queue_.address) + u" must follow a PeekCurrent.");
    return peek(Of::Cursor, WantBody, ReceiveTimeout, [&] { return next(); });
  });
}

HRESULT OpenQueue::raw_Peek(VARIANT*, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                            IMSMQMessage** result) noexcept {
  return answer(result, [&] {
    return peek(Of::Queue, WantBody, ReceiveTimeout, [&] { return service_->firstVisible(box_, 0); });
  });
}

HRESULT OpenQueue::raw_SeekMessage(IMSMQMessage* Message, VARIANT_BOOL* result) noexcept {
  return answer(result, [&] {
    mustRead(u"Peeking");
    const auto message = queryClass<QueuedMessage>(Message);
    const auto position = message->positionIn(box_, service_->identity());
    const bool isThere = position && service_->visibleAt(box_, *position);
    if (isThere) cursor_ = {Cursor::State::On, *position};
    return isThere;
  });
}

HRESULT OpenQueue::raw_SeekNumber(LONG Number, VARIANT_BOOL* result) noexcept {
  return answer(result, [&] {
    mustRead(u"Peeking");
    const auto position = service_->visibleWithNumber(box_, static_cast<std::uint32_t>(Number));
    if (position) cursor_ = {Cursor::State::On, *position};
    return position.has_value();
  });
}

Ref<IMSMQMessage> OpenQueue::receive(Of which, const VARIANT* transaction, const VARIANT* wantBody,
                                     const VARIANT* timeout) {
  mustAllow(access_ == MQ_RECEIVE_ACCESS, u"Receiving");
  const auto given = transactionArgument(transaction);
  if (!queue_.isTransactional && given.kind != TransactionArgument::Kind::None)
    queuingFailed(MQ_ERROR_TRANSACTION_USAGE, u"The queue " + shownName(queue_.address) +
                                                  u" is not transactional: receive without a transaction.");
  TransactionWork* const work = given.transaction ? &given.transaction->work(*service_) : nullptr;
  const bool isExact = which == Of::Cursor && cursor_.state == Cursor::State::On;
  const std::int64_t position = which == Of::Cursor ? cursor_.position : 0;
  Ref<IMSMQMessage> message;
  attempt(timeout, [&] {
    auto [sight, body] = service_->receive(
        box_, position, isExact ? QueueService::Where::Exactly : QueueService::Where::Behind,
        wanted(wantBody), work);
    if (!sight.message && isExact) alreadyReceived();
    if (!sight.message) return prospectOf(sight);
    if (which == Of::Cursor) cursor_ = {Cursor::State::Behind, sight.message->position};
    message = make<QueuedMessage>(box_, std::move(*sight.message), std::move(body), service_->identity());
    return Prospect::Ready;
  });
  return message;
}

HRESULT OpenQueue::raw_Receive(VARIANT* Transaction, VARIANT*, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                               IMSMQMessage** result) noexcept {
  return answer(result, [&] { return receive(Of::Queue, Transaction, WantBody, ReceiveTimeout); });
}

HRESULT OpenQueue::raw_ReceiveCurrent(VARIANT* Transaction, VARIANT*, VARIANT* WantBody,
                                      VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept {
  return answer(result, [&] { return receive(Of::Cursor, Transaction, WantBody, ReceiveTimeout); });
}

HRESULT OpenQueue::raw_EnableNotification(IMSMQEvent* Event, VARIANT*, VARIANT*) noexcept {
  return answer([&] {
    mustRead(u"Notification");
    const auto event = queryClass<QueueEvent>(Event);
    auto waiter = std::make_shared<Waiter>();
    waiter->box = box_.number();
    waiter->look = [this] {
      if (!isOpen_) return Prospect::Nothing;
      service_->mustBeThere();  // a store without a name may still have messages
      const Sight sight = service_->firstVisible(box_, 0);
      if (!sight.message) service_->find(queue_.id, queue_.address);
      return prospectOf(sight);
    };
    event->arm(Ref<IMSMQQueue>(this), shownName(queue_.address), waiter);
    service_->signals().arm(waiter);
  });
}

void OpenQueue::send(MessageContent message, const TransactionArgument& transaction) {
  mustAllow(access_ == MQ_SEND_ACCESS && !box_.isJournal, u"Sending");
  if (queue_.isTransactional == (transaction.kind == TransactionArgument::Kind::None))
    queuingFailed(MQ_ERROR_TRANSACTION_USAGE,
                  u"The queue " + shownName(queue_.address) +
                      (queue_.isTransactional ? u" is transactional: send in a transaction, or with 3 (this "
                                                u"message alone)."
                                              : u" is not transactional: send without a transaction."));
  Outgoing outgoing{queue_.id, std::move(message)};
  if (!transaction.transaction) return service_->send(outgoing);
  if (const std::uint64_t generation = service_->generation(); generation != queueGeneration_) {
    queue_ = service_->find(queue_.id, queue_.address);  // the quota, and whether the queue is still there
    queueGeneration_ = generation;
  }
  service_->keepBack(transaction.transaction->work(*service_), std::move(outgoing), queue_);
}

}  // namespace CorvaneQueue::platform_layer
