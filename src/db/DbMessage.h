// One document of the database store.
#pragma once

#include "DatabaseAccess.h"
#include "IMessage.h"
#include "MessageForm.h"
#include "Object.h"

#include <memory>

namespace CorvaneQueue {

// Never changes after its creation. The body of a damaged one is an error; everything else of it can be read.
class DbMessage final : public Object<DbMessage, MessageForm<DbMessage>, IMessageForm<DbMessage>> {
 public:
  static constexpr GUID classIdentity = {
      0x3fd0e991, 0x2cb0, 0x453c, {0x89, 0x30, 0xa2, 0x81, 0xd6, 0x8a, 0xff, 0x54}};
  static constexpr const char16_t* className = u"DbMessage";

  DbMessage(String ID, String Label, Date SentTime, String messageType, Variant Body) noexcept
      : id_(std::move(ID)),
        label_(std::move(Label)),
        sentTime_(SentTime),
        messageType_(std::move(messageType)),
        body_(std::move(Body)) {}

  DbMessage(String ID, String Label, Date SentTime, String messageType, const Error& damage)
      : id_(std::move(ID)),
        label_(std::move(Label)),
        sentTime_(SentTime),
        messageType_(std::move(messageType)),
        damage_(std::make_unique<const Error>(damage)) {}

  const String& ID() const noexcept { return id_; }
  const String& Label() const noexcept { return label_; }
  Date SentTime() const noexcept { return sentTime_; }
  Variant Body() const { return bodyText(); }
  String bodyText() const {
    if (damage_) throw Error(*damage_);
    return textOf(body_);
  }
  // In 16-bit units.
  std::int32_t BodyLength() const { return static_cast<std::int32_t>(bodyText().size()); }
  // Not held by this store: error 91.
  std::int32_t AppSpecific() const { notHeld(u"AppSpecific"); }
  Date ArrivedTime() const { notHeld(u"ArrivedTime"); }
  std::int32_t TimeToAcknowledge() const { notHeld(u"TimeToAcknowledge"); }

 private:
  [[noreturn]] static void notHeld(const char16_t* member) {
    throw Error(ErrorNumber::ObjectNotSet, {},
                u"Object not set: the database store does not keep " + std::u16string(member) + u".");
  }

  String id_;
  String label_;
  Date sentTime_;
  String messageType_;
  Variant body_;  // a text, or its stored form: lists are long, and few bodies are asked for
  std::unique_ptr<const Error> damage_;
};

}  // namespace CorvaneQueue
