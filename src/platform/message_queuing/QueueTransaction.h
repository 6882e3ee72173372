// Transactions over queues of this machine.
#pragma once

#include "Object.h"
#include "QueueService.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

// Its sends are kept back and its receives held until Commit; Abort, its end and its process's death undo
// all of it. Works on queues that were opened by its own thread.
class QueueTransaction final : public Object<QueueTransaction, DispatchForm<IMSMQTransaction>> {
 public:
  static constexpr IID classIdentity = {
      0x3a0c25ad, 0x5ee7, 0x4c5c, {0x8f, 0x44, 0x26, 0x05, 0x7c, 0x1b, 0x90, 0x31}};
  static constexpr const char16_t* className = u"Message Queuing transaction";

  explicit QueueTransaction(std::shared_ptr<QueueService> service);
  ~QueueTransaction();

  HRESULT CORVANE_CALL raw_Commit(VARIANT* fRetaining, VARIANT* grfTC, VARIANT* grfRM) noexcept final;
  HRESULT CORVANE_CALL raw_Abort(VARIANT* fRetaining, VARIANT* fAsync) noexcept final;
  HRESULT CORVANE_CALL get_Transaction(LONG* result) noexcept final;

  // What it has done so far, for a queue of that service. Throws MQ_ERROR_TRANSACTION_SEQUENCE when it is
  // over, MQ_ERROR_TRANSACTION_USAGE for another service.
  TransactionWork& work(const QueueService& service);

 private:
  void mustBeOpen() const;
  std::shared_ptr<QueueService> service_;
  TransactionWork work_;
  std::int32_t number_;
};

class TransactionDispenser final
    : public Object<TransactionDispenser, DispatchForm<IMSMQCoordinatedTransactionDispenser>> {
 public:
  HRESULT CORVANE_CALL raw_BeginTransaction(IMSMQTransaction** result) noexcept final;
};

// The Transaction argument of a send or receive.
struct TransactionArgument {
  enum class Kind { None, SingleMessage, Given };
  Kind kind = Kind::None;
  Ref<QueueTransaction> transaction;
};
// Omitted, MQ_NO_TRANSACTION, MQ_SINGLE_MESSAGE, or a transaction, also by reference. Throws
// MQ_ERROR_TRANSACTION_USAGE for other numbers, 13 for other objects.
TransactionArgument transactionArgument(const VARIANT* argument);

}  // namespace CorvaneQueue::platform_layer
