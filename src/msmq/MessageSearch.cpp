#include "MessageSearch.h"

#include "QueueCalls.h"

#include <algorithm>
#include <functional>

namespace CorvaneQueue {

namespace {

bool isSame(const Ref<IMSMQMessage>& left, const Ref<IMSMQMessage>& right) {
  const Variant leftId = call<&IMSMQMessage::get_Id>(left);
  const Variant rightId = call<&IMSMQMessage::get_Id>(right);
  return std::ranges::equal(bytesOf(leftId.get()), bytesOf(rightId.get()));
}

// `first` and `second` are the two optional arguments of the peeks.
bool peekUntil(const Ref<IMSMQQueue>& handle, const Variant& first, const Variant& second,
               const std::function<bool(const Ref<IMSMQMessage>& peeked)>& isMeant) {
  auto peeked = peek<&IMSMQQueue::raw_PeekCurrent>(handle, first, second, arrivalTimeout);
  while (peeked && !isMeant(peeked))
    peeked = peek<&IMSMQQueue::raw_PeekNext>(handle, first, second, arrivalTimeout);
  return peeked != nullptr;
}

}  // namespace

bool moveOnto(const Ref<IMSMQQueue>& handle, const Ref<IMSMQMessage>& message) {
  if (const auto seek = tryQuery<IMSMQQueueSeek>(handle.get()))
    return call<&IMSMQQueueSeek::raw_SeekMessage>(seek, message);
  return peekUntil(handle, Variant(false), Variant(false),
                   [&](const auto& peeked) { return isSame(peeked, message); });
}

bool moveOnto(const Ref<IMSMQQueue>& handle, MSMQUtility& utility, const MSMQMessage& message) {
  if (const auto seek = tryQuery<IMSMQQueueSeek>(handle.get()))
    return call<&IMSMQQueueSeek::raw_SeekNumber>(seek, toInt32(Variant(message.ID()).get()));
  return peekUntil(handle, Variant::omitted(), Variant::omitted(), [&](const auto& peeked) {
    return utility.IDToString(call<&IMSMQMessage::get_Id>(peeked).get()) == message.ID();
  });
}

}  // namespace CorvaneQueue
