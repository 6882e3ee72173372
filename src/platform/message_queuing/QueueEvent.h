// The event object of arrival notifications.
#pragma once

#include "ArrivalSignals.h"
#include "ConnectionPoint.h"
#include "Object.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <optional>
#include <string>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Raises Arrived(Queue, Cursor) once for each arming, inside Apartment::pump(). With its end all of its
// armings end. An arming whose queue or store is gone ends with a line in the log and an error out of
// Apartment::pump().
class QueueEvent final : public Object<QueueEvent, DispatchForm<IMSMQEvent>, EventSource<_DMSMQEventEvents>> {
 public:
  static constexpr IID classIdentity = {
      0x81d6a5f4, 0x2c3e, 0x4b77, {0x93, 0x0f, 0x6e, 0xd4, 0x15, 0x8b, 0x2a, 0x60}};
  static constexpr const char16_t* className = u"Message Queuing event";

  QueueEvent() = default;
  ~QueueEvent() {
    for (const Arming& arming : armings_) arming.waiter->deliver = nullptr, arming.waiter->fail = nullptr;
  }

  // Keeps the waiter, and the queue with it, until it has been delivered to or has failed. A queue is armed
  // once.
  void arm(Ref<IMSMQQueue> queue, std::u16string_view queueName, const std::shared_ptr<Waiter>& waiter);

 private:
  struct Arming {
    Ref<IMSMQQueue> queue;
    std::u16string queueName;
    std::shared_ptr<Waiter> waiter;
  };
  std::optional<Arming> disarm(const Waiter* waiter);
  void arrived(const Waiter* waiter);
  void failed(const Waiter* waiter, const Error& error);

  std::vector<Arming> armings_;
};

}  // namespace CorvaneQueue::platform_layer
