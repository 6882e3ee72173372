// Calls of Message Queuing objects in the forms that the back end uses.
#pragma once

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

// Milliseconds that a peek or an arrival waits for a message.
inline constexpr std::int32_t arrivalTimeout = 100;

// Peeks with the three arguments; null when no message came.
template <auto Member>
Ref<IMSMQMessage> peek(const Ref<IMSMQQueue>& queue, Variant wantDestinationQueue, Variant wantBody,
                       Variant timeout) {
  return call<Member>(queue, wantDestinationQueue, wantBody, timeout);
}

inline Ref<IMSMQQueueInfo> infoOf(const Ref<IMSMQQueue>& queue) {
  return call<&IMSMQQueue::get_QueueInfo>(queue);
}

inline bool isTransactional(const Ref<IMSMQQueue>& queue) {
  return call<&IMSMQQueueInfo::get_IsTransactional>(infoOf(queue));
}

// The object that a variant holds or refers to, null for none. Throws 13 for anything else.
inline IUnknown* objectIn(const VARIANT& value) {
  IUnknown* object = nullptr;
  throwIfFailedPlain(detail::objectIn(value, object));
  return object;
}

// A transaction passed by reference: its holder takes back what the call left in the argument.
class TransactionByReference {
 public:
  explicit TransactionByReference(Ref<IMSMQTransaction>& holder)
      : holder_(holder), object_(Ref<IDispatch>(holder).detach()) {
    argument_.address()->vt = VT_DISPATCH | VT_BYREF;
    argument_.address()->ppdispVal = &object_;
  }
  ~TransactionByReference() {
    if (object_ != nullptr) object_->Release();
  }
  TransactionByReference(const TransactionByReference&) = delete;
  TransactionByReference& operator=(const TransactionByReference&) = delete;

  Variant& argument() noexcept { return argument_; }
  void takeBack() { holder_ = object_ == nullptr ? nullptr : query<IMSMQTransaction>(object_); }

 private:
  Ref<IMSMQTransaction>& holder_;
  IDispatch* object_;
  Variant argument_;
};

}  // namespace CorvaneQueue
