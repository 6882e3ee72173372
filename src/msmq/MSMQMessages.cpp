#include "MSMQMessages.h"

#include "MSMQQueue.h"
#include "QueueCalls.h"

#include <limits>

namespace CorvaneQueue {

void MSMQMessages::Initialize(const MSMQQueue& queue) {
  name_ = queue.Name();
  isJournal_ = queue.IsJournal();
}

void MSMQMessages::Refresh() {
  messages_ = {};
  const auto handle = utility_->OpenQueue(name_, MQ_PEEK_ACCESS, isJournal_);
  call<&IMSMQQueue::raw_Reset>(handle);
  auto peeked = peek<&IMSMQQueue::raw_PeekCurrent>(handle, Variant::omitted(), false, arrivalTimeout);
  while (peeked) {
    const auto message = Add(std::move(peeked));
    message->Name_Let(name_);
    message->IsJournal_Let(isJournal_);
    peeked = peek<&IMSMQQueue::raw_PeekNext>(handle, Variant::omitted(), false, arrivalTimeout);
  }
}

Ref<MSMQMessage> MSMQMessages::find(const String& queue, bool isJournal, std::int64_t number) {
  if (number > std::numeric_limits<std::int32_t>::max()) return nullptr;
  const auto handle = make<MSMQUtility>()->OpenQueue(queue, MQ_PEEK_ACCESS, isJournal);
  if (!call<&IMSMQQueueSeek::raw_SeekNumber>(query<IMSMQQueueSeek>(handle.get()),
                                             static_cast<std::int32_t>(number)))
    return nullptr;
  auto peeked = peek<&IMSMQQueue::raw_PeekCurrent>(handle, Variant::omitted(), false, arrivalTimeout);
  if (!peeked) return nullptr;
  auto message = make<MSMQMessage>();
  message->QueueMessage_Set(std::move(peeked));
  message->Name_Let(queue);
  message->IsJournal_Let(isJournal);
  return message;
}

Ref<MSMQMessage> MSMQMessages::Add(Ref<IMSMQMessage> queueMessage) {
  const auto message = make<MSMQMessage>();
  message->QueueMessage_Set(std::move(queueMessage));
  messages_.add(message, utility_->IDToString(call<&IMSMQMessage::get_Id>(message->QueueMessage()).get()));
  return message;
}

}  // namespace CorvaneQueue
