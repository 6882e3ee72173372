#include "QueueEvent.h"

#include "ExceptionHandler.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr LONG errorLevel = 1;
void report(std::u16string_view procedure, const Error& error) {
  const auto log = make<ExceptionHandler>(String(u"MSMQ"), String(u"Event"));
  log->raw_TakeError(error.number(), String(error.source()).bstr(), String(error.description()).bstr());
  log->raw_Report(VARIANT_FALSE, errorLevel, error.number(), String(procedure).bstr());
}
}  // namespace

void QueueEvent::arm(Ref<IMSMQQueue> queue, std::u16string_view queueName,
                     const std::shared_ptr<Waiter>& waiter) {
  std::erase_if(armings_, [&](const Arming& arming) { return arming.queue.get() == queue.get(); });
  waiter->deliver = [this, waiter = waiter.get()] { arrived(waiter); };
  waiter->fail = [this, waiter = waiter.get()](const Error& error) { failed(waiter, error); };
  armings_.push_back({std::move(queue), std::u16string(queueName), waiter});
}

std::optional<QueueEvent::Arming> QueueEvent::disarm(const Waiter* waiter) {
  const auto found =
      std::ranges::find(armings_, waiter, [](const Arming& each) { return each.waiter.get(); });
  if (found == armings_.end()) return std::nullopt;
  std::optional<Arming> arming(std::move(*found));
  armings_.erase(found);
  return arming;
}

void QueueEvent::arrived(const Waiter* waiter) {
  const Ref<QueueEvent> kept(this);
  const auto arming = disarm(waiter);
  if (!arming) return;
  // The last argument stands first.
  VARIANT arguments[2] = {Variant(std::int32_t{0}).detach(), Variant(Ref<IDispatch>(arming->queue)).detach()};
  for (const Error& failure : fire(msmqArrivedId, arguments))
    report(u"Arrived", Error(failure.number(), failure.source(),
                             String(u"A handler of the queue " + arming->queueName + u" has failed: " +
                                    std::u16string(failure.description().view()))));
  for (VARIANT& argument : arguments) VariantClear(&argument);
}

void QueueEvent::failed(const Waiter* waiter, const Error& error) {
  const auto arming = disarm(waiter);
  if (!arming) return;
  const Error ended(error.number(), error.source(),
                    String(u"Nothing more is announced from the queue " + arming->queueName + u": " +
                           std::u16string(error.description().view()) +
                           u" To go on, call Abort, ReceiveDisable and ReceiveEnable."));
  report(u"Arrived", ended);
  Apartment::current().failed(std::make_exception_ptr(ended));
}

}  // namespace CorvaneQueue::platform_layer
