// The Message Queuing objects in short words, for tests and benchmarks: created by name, called through
// their interfaces.
#pragma once

#include <CorvaneQueue/CorvaneQueue.h>
#include <functional>
#include <string>
#include <vector>

namespace queuing {

using namespace CorvaneQueue;

enum class Transactional { No, Yes };

inline Ref<IMSMQQueueInfo> infoOf(std::u16string_view path) {
  const auto info = create<IMSMQQueueInfo>(u"MSMQ.MSMQQueueInfo");
  call<&IMSMQQueueInfo::put_PathName>(info, path);
  return info;
}
inline void createQueue(std::u16string_view path, Transactional transactional = Transactional::Yes) {
  Variant isTransactional(transactional == Transactional::Yes);
  Variant isWorldReadable(true);
  call<&IMSMQQueueInfo::raw_Create>(infoOf(path), isTransactional, isWorldReadable);
}
inline Ref<IMSMQQueue> open(const Ref<IMSMQQueueInfo>& info, LONG access) {
  return query<IMSMQQueue>(call<&IMSMQQueueInfo::raw_Open>(info, access, MQ_DENY_NONE).get());
}
inline Ref<IMSMQQueue> open(std::u16string_view path, LONG access) { return open(infoOf(path), access); }
inline Ref<IMSMQQueue> openFormat(std::u16string_view formatName, LONG access) {
  const auto info = create<IMSMQQueueInfo>(u"MSMQ.MSMQQueueInfo");
  call<&IMSMQQueueInfo::put_FormatName>(info, formatName);
  return open(info, access);
}

inline Ref<IMSMQTransaction> begin() {
  const auto dispenser =
      create<IMSMQCoordinatedTransactionDispenser>(u"MSMQ.MSMQCoordinatedTransactionDispenser");
  return call<&IMSMQCoordinatedTransactionDispenser::raw_BeginTransaction>(dispenser);
}
inline void commit(const Ref<IMSMQTransaction>& transaction) {
  Variant omitted = Variant::omitted();
  call<&IMSMQTransaction::raw_Commit>(transaction, omitted, omitted, omitted);
}
inline void abort(const Ref<IMSMQTransaction>& transaction) {
  Variant omitted = Variant::omitted();
  call<&IMSMQTransaction::raw_Abort>(transaction, omitted, omitted);
}

// The argument of a call: nothing, a number, or a transaction by reference.
class In {
 public:
  In() : value_(Variant::omitted()) {}
  In(LONG number) : value_(std::int32_t{number}) {}
  In(const Ref<IMSMQTransaction>& transaction) : object_(transaction.get()) {
    value_.address()->vt = VT_DISPATCH | VT_BYREF;
    value_.address()->ppdispVal = &object_;
  }
  Variant& argument() { return value_; }

 private:
  IDispatch* object_ = nullptr;
  Variant value_;
};
// For a queue that is transactional: this message alone.
inline In alone() { return In(MQ_SINGLE_MESSAGE); }

inline Ref<IMSMQMessage> messageOf(std::string_view body, std::u16string_view label = u"") {
  const auto message = create<IMSMQMessage>(u"MSMQ.MSMQMessage");
  call<&IMSMQMessage::put_Label>(message, label);
  Variant bytes = Variant::bytes({reinterpret_cast<const std::uint8_t*>(body.data()), body.size()});
  call<&IMSMQMessage::put_Body>(message, bytes);
  return message;
}
inline void send(const Ref<IMSMQQueue>& queue, std::string_view body, In transaction = alone(),
                 std::u16string_view label = u"") {
  IDispatch* const destination = queue.get();
  call<&IMSMQMessage::raw_Send>(messageOf(body, label), destination, transaction.argument());
}

inline std::string textOf(const Variant& value) {
  const auto bytes = bytesOf(value.get());
  return {bytes.begin(), bytes.end()};
}
inline std::string bodyOf(const Ref<IMSMQMessage>& message) {
  return message ? textOf(call<&IMSMQMessage::get_Body>(message)) : "(none)";
}
inline std::string idOf(const Ref<IMSMQMessage>& message) {
  return textOf(call<&IMSMQMessage::get_Id>(message));
}

template <auto Member>
Ref<IMSMQMessage> receiveWith(const Ref<IMSMQQueue>& queue, In& transaction, LONG timeout) {
  Variant omitted = Variant::omitted();
  Variant milliseconds(static_cast<std::int32_t>(timeout));
  return call<Member>(queue, transaction.argument(), omitted, omitted, milliseconds);
}
inline Ref<IMSMQMessage> receive(const Ref<IMSMQQueue>& queue, In transaction = In(), LONG timeout = 0) {
  return receiveWith<&IMSMQQueue::raw_Receive>(queue, transaction, timeout);
}
inline Ref<IMSMQMessage> receiveCurrent(const Ref<IMSMQQueue>& queue, In transaction = In()) {
  return receiveWith<&IMSMQQueue::raw_ReceiveCurrent>(queue, transaction, 0);
}
template <auto Member>
Ref<IMSMQMessage> peekWith(const Ref<IMSMQQueue>& queue, LONG timeout, bool wantBody) {
  Variant omitted = Variant::omitted();
  Variant body(wantBody);
  Variant milliseconds(static_cast<std::int32_t>(timeout));
  return call<Member>(queue, omitted, body, milliseconds);
}
inline Ref<IMSMQMessage> peek(const Ref<IMSMQQueue>& queue, LONG timeout = 0, bool wantBody = true) {
  return peekWith<&IMSMQQueue::raw_Peek>(queue, timeout, wantBody);
}
inline Ref<IMSMQMessage> peekCurrent(const Ref<IMSMQQueue>& queue, LONG timeout = 0, bool wantBody = true) {
  return peekWith<&IMSMQQueue::raw_PeekCurrent>(queue, timeout, wantBody);
}
inline Ref<IMSMQMessage> peekNext(const Ref<IMSMQQueue>& queue, LONG timeout = 0, bool wantBody = true) {
  return peekWith<&IMSMQQueue::raw_PeekNext>(queue, timeout, wantBody);
}
inline void reset(const Ref<IMSMQQueue>& queue) { call<&IMSMQQueue::raw_Reset>(queue); }

// What the cursor of a fresh handle walks over.
inline std::vector<std::string> bodies(std::u16string_view formatName) {
  const auto queue = openFormat(formatName, MQ_PEEK_ACCESS);
  std::vector<std::string> found;
  for (auto message = peekCurrent(queue); message; message = peekNext(queue))
    found.push_back(bodyOf(message));
  return found;
}

inline Ref<IMSMQQueueInfo> settingsOf(const Ref<IMSMQQueue>& queue) {
  return call<&IMSMQQueue::get_QueueInfo>(queue);
}
// Quotas are in kilobytes; -1 is none.
inline void set(const Ref<IMSMQQueueInfo>& info, bool keepsJournal, LONG quota = -1, LONG journalQuota = -1) {
  call<&IMSMQQueueInfo::put_Journal>(info, keepsJournal ? MQ_JOURNAL : MQ_JOURNAL_NONE);
  call<&IMSMQQueueInfo::put_Quota>(info, quota);
  call<&IMSMQQueueInfo::put_JournalQuota>(info, journalQuota);
  call<&IMSMQQueueInfo::raw_Update>(info);
}

// An event object and the handler of its notification Arrived(Queue, Cursor).
class ArrivalEvent {
 public:
  using Handler = std::function<void(const Ref<IMSMQQueue>& queue, LONG cursor)>;
  explicit ArrivalEvent(Handler handler)
      : event_(create<IMSMQEvent>(u"MSMQ.MSMQEvent")),
        subscription_(event_.get(), msmqArrival,
                      [handler = std::move(handler)](std::span<VARIANT> arguments) {
                        handler(query<IMSMQQueue>(arguments[1].pdispVal), arguments[0].lVal);
                      }) {}
  // One notification, of the next message.
  void arm(const Ref<IMSMQQueue>& queue) const {
    Variant omitted = Variant::omitted();
    call<&IMSMQQueue::raw_EnableNotification>(queue, event_, omitted, omitted);
  }

 private:
  Ref<IMSMQEvent> event_;
  Subscription subscription_;
};

}  // namespace queuing
