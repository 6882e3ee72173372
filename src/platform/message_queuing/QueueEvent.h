// The event object of arrival notifications.
#pragma once

#include "ArrivalSignals.h"
#include "ConnectionPoint.h"
#include "Object.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <algorithm>

namespace CorvaneQueue::platform_layer {

// Raises Arrived(Queue, Cursor) once for each arming, inside Apartment::pump(). With its end all of its
// armings end.
class QueueEvent final : public Object<QueueEvent, DispatchForm<IMSMQEvent>, EventSource<_DMSMQEventEvents>> {
 public:
  static constexpr IID classIdentity = {
      0x81d6a5f4, 0x2c3e, 0x4b77, {0x93, 0x0f, 0x6e, 0xd4, 0x15, 0x8b, 0x2a, 0x60}};
  static constexpr const char16_t* className = u"Message Queuing event";

  QueueEvent() = default;
  ~QueueEvent() {
    for (const Arming& arming : armings_) arming.waiter->deliver = nullptr;
  }

  // Keeps the waiter, and the queue with it, until it has been delivered to. A queue is armed once.
  void arm(Ref<IMSMQQueue> queue, const std::shared_ptr<Waiter>& waiter) {
    std::erase_if(armings_, [&](const Arming& arming) { return arming.queue.get() == queue.get(); });
    waiter->deliver = [this, waiter = waiter.get()] { arrived(waiter); };
    armings_.push_back({std::move(queue), waiter});
  }

 private:
  struct Arming {
    Ref<IMSMQQueue> queue;
    std::shared_ptr<Waiter> waiter;
  };
  void arrived(const Waiter* waiter) {
    const auto found =
        std::ranges::find(armings_, waiter, [](const Arming& each) { return each.waiter.get(); });
    if (found == armings_.end()) return;
    const Ref<QueueEvent> kept(this);
    const Arming arming = std::move(*found);
    armings_.erase(found);
    // The last argument stands first.
    VARIANT arguments[2] = {Variant(std::int32_t{0}).detach(),
                            Variant(Ref<IDispatch>(arming.queue)).detach()};
    fire(msmqArrivedId, arguments);
    for (VARIANT& argument : arguments) VariantClear(&argument);
  }

  std::vector<Arming> armings_;
};

}  // namespace CorvaneQueue::platform_layer
