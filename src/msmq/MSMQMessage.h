// One message of a cursor's snapshot.
#pragma once

#include "IMessage.h"
#include "MessageForm.h"
#include "MSMQUtility.h"
#include "Object.h"

namespace CorvaneQueue {

// Peeked without its body, which is fetched when it is asked for. Errors pass unchanged.
class MSMQMessage final : public Object<MSMQMessage, MessageForm<MSMQMessage>, IMessageForm<MSMQMessage>> {
 public:
  static constexpr GUID classIdentity = {
      0x7b0f3f0e, 0x42c3, 0x4f8e, {0xa5, 0x3f, 0x92, 0x0c, 0xd2, 0x61, 0x4e, 0x8b}};
  static constexpr const char16_t* className = u"MSMQMessage";

  MSMQMessage() : utility_(make<MSMQUtility>()) {}
  ~MSMQMessage() = default;

  String ID() const;
  std::int32_t AppSpecific() const;
  Date ArrivedTime() const;
  // The text; of a message that is no longer in its queue, what is left of it.
  Variant Body();
  std::int32_t BodyLength() const;
  String Label() const;
  Date SentTime() const;
  std::int32_t TimeToAcknowledge() const;

  const Ref<IMSMQMessage>& QueueMessage() const noexcept { return message_; }
  void QueueMessage_Set(Ref<IMSMQMessage> value) noexcept { message_ = std::move(value); }
  // The queue that the message was peeked from.
  void Name_Let(const String& value) { name_ = value; }
  void IsJournal_Let(bool value) noexcept { isJournal_ = value; }
  // Finds the message in its queue again and reads it with its body. Does nothing when it has done so,
  // and leaves the body away when the message is gone.
  void LoadBody();

 private:
  Ref<MSMQUtility> utility_;
  Ref<IMSMQMessage> message_;
  String name_;
  bool isJournal_ = false;
  Ref<IMSMQQueue> handle_;
  bool isBodyLoaded_ = false;
};

}  // namespace CorvaneQueue
