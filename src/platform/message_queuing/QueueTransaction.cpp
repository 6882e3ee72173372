#include "QueueTransaction.h"

#include <atomic>

namespace CorvaneQueue::platform_layer {

namespace {

std::int32_t nextTransactionNumber() {
  static std::atomic<std::int32_t> last{0};
  return ++last;
}

// The parameters of Commit and Abort: left out, or saying nothing special.
void mustBeOrdinary(const VARIANT* argument) {
  if (argument == nullptr || argument->vt == VT_EMPTY) return;
  const Variant value(*argument);
  if (value.isOmitted() || toInt32(value.get()) == 0) return;
  throw Error(ErrorNumber::InvalidArgument, queuingSource,
              u"Retaining and asynchronous commits are not offered: leave the arguments out.");
}

}  // namespace

QueueTransaction::QueueTransaction(std::shared_ptr<QueueService> service)
    : service_(std::move(service)), number_(nextTransactionNumber()) {}

QueueTransaction::~QueueTransaction() {
  if (!work_.isOver) service_->abort(work_);
}

void QueueTransaction::mustBeOpen() const {
  if (work_.isOver)
    queuingFailed(MQ_ERROR_TRANSACTION_SEQUENCE,
                  u"The transaction has been committed or aborted already; begin a new one.");
}

TransactionWork& QueueTransaction::work(const QueueService& service) {
  mustBeOpen();
  if (&service != service_.get())
    queuingFailed(MQ_ERROR_TRANSACTION_USAGE,
                  u"The transaction and the queue belong to different threads or installations.");
  return work_;
}

HRESULT QueueTransaction::raw_Commit(VARIANT* fRetaining, VARIANT* grfTC, VARIANT* grfRM) noexcept {
  return answer([&] {
    mustBeOpen();
    for (const VARIANT* argument : {fRetaining, grfTC, grfRM}) mustBeOrdinary(argument);
    service_->commit(work_);
  });
}

// One that is over already is let go of: its holder could not begin another one otherwise.
HRESULT QueueTransaction::raw_Abort(VARIANT* fRetaining, VARIANT* fAsync) noexcept {
  return answer([&] {
    for (const VARIANT* argument : {fRetaining, fAsync}) mustBeOrdinary(argument);
    if (!work_.isOver) service_->abort(work_);
  });
}

HRESULT QueueTransaction::get_Transaction(LONG* result) noexcept {
  return answer(result, [&] { return number_; });
}

HRESULT TransactionDispenser::raw_BeginTransaction(IMSMQTransaction** result) noexcept {
  return answer(result, [] { return make<QueueTransaction>(QueueService::current()); });
}

TransactionArgument transactionArgument(const VARIANT* argument) {
  if (argument == nullptr) return {};
  if (argument->vt == (VT_VARIANT | VT_BYREF)) argument = argument->pvarVal;
  using Kind = TransactionArgument::Kind;
  switch (argument->vt) {
    case VT_EMPTY: return {};
    case VT_ERROR: return {};
    case VT_DISPATCH:
    case VT_UNKNOWN:
    case VT_DISPATCH | VT_BYREF:
    case VT_UNKNOWN | VT_BYREF: {
      IUnknown* const object = (argument->vt & VT_BYREF) != 0 ? *argument->ppunkVal : argument->punkVal;
      if (object == nullptr) return {};
      return {Kind::Given, queryClass<QueueTransaction>(object)};
    }
    default: break;
  }
  switch (toInt32(*argument)) {
    case MQ_NO_TRANSACTION: return {};
    case MQ_SINGLE_MESSAGE: return {Kind::SingleMessage, nullptr};
    default:
      queuingFailed(MQ_ERROR_TRANSACTION_USAGE,
                    u"The Transaction argument must be left out, 0 (none), 3 (this message alone) or a "
                    u"transaction object.");
  }
}

}  // namespace CorvaneQueue::platform_layer
