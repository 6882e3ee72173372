#include "MSMQMessage.h"

#include "MessageSearch.h"
#include "QueueCalls.h"

namespace CorvaneQueue {

String MSMQMessage::ID() const { return utility_->IDToString(call<&IMSMQMessage::get_Id>(message_).get()); }
std::int32_t MSMQMessage::AppSpecific() const { return call<&IMSMQMessage::get_AppSpecific>(message_); }
Date MSMQMessage::ArrivedTime() const { return toDate(call<&IMSMQMessage::get_ArrivedTime>(message_).get()); }
Variant MSMQMessage::Body() {
  LoadBody();
  return utility_->GetBody(message_.get());
}
std::int32_t MSMQMessage::BodyLength() const { return call<&IMSMQMessage::get_BodyLength>(message_); }
String MSMQMessage::Label() const { return call<&IMSMQMessage::get_Label>(message_); }
Date MSMQMessage::SentTime() const { return toDate(call<&IMSMQMessage::get_SentTime>(message_).get()); }
std::int32_t MSMQMessage::TimeToAcknowledge() const {
  return call<&IMSMQMessage::get_MaxTimeToReceive>(message_);
}

void MSMQMessage::LoadBody() {
  if (isBodyLoaded_) return;
  if (!handle_) handle_ = utility_->OpenQueue(name_, MQ_PEEK_ACCESS, isJournal_);
  call<&IMSMQQueue::raw_Reset>(handle_);
  if (!moveOnto(handle_, message_)) return;
  message_ = peek<&IMSMQQueue::raw_PeekCurrent>(handle_, false, true, arrivalTimeout);
  isBodyLoaded_ = true;
}

}  // namespace CorvaneQueue
