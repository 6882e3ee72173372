// One document of a queue or of its journal, as clients see it. Read only.

#pragma once

#include <CorvaneQueue/members.h>

namespace CorvaneQueue {

struct _Message : IDispatch {
  // Decimal digits. Give it to Queue.AcknowledgeDocument.
  virtual HRESULT CORVANE_CALL get_ID(BSTR* result) noexcept = 0;
  // 1 when the body is compressed. Error 91 on the database store.
  virtual HRESULT CORVANE_CALL get_AppSpecific(LONG* result) noexcept = 0;
  // Local time. Error 91 on the database store.
  virtual HRESULT CORVANE_CALL get_ArrivedTime(DATE* result) noexcept = 0;
  // The text of the document, as a string.
  virtual HRESULT CORVANE_CALL get_Body(VARIANT* result) noexcept = 0;
  // 16-bit units on the database store, stored bytes on the Message Queuing store.
  virtual HRESULT CORVANE_CALL get_BodyLength(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Label(BSTR* result) noexcept = 0;
  // Local time in lists; UTC from ReceiveNext of the database store.
  virtual HRESULT CORVANE_CALL get_SentTime(DATE* result) noexcept = 0;
  // Seconds. Error 91 on the database store.
  virtual HRESULT CORVANE_CALL get_TimeToAcknowledge(LONG* result) noexcept = 0;
};

inline constexpr std::array messageMembers{
    get<&_Message::get_ID>(0x68030009, u"ID", "The ID Property refers to the ID of a message."),
    get<&_Message::get_AppSpecific>(0x68030008, u"AppSpecific"),
    get<&_Message::get_ArrivedTime>(
        0x68030007, u"ArrivedTime",
        "The ArrivedTime Property refers to the time that a message arrived in a queue."),
    get<&_Message::get_Body>(0x0, u"Body", "The Body Property refers to the body of a message."),
    get<&_Message::get_BodyLength>(0x68030006, u"BodyLength",
                                   "The BodyLength Property refers to the length of the body of a message."),
    get<&_Message::get_Label>(0x68030005, u"Label", "The Label Property refers to the queues label."),
    get<&_Message::get_SentTime>(0x68030004, u"SentTime",
                                 "The SentTime Property refers to the time that the message was sent."),
    get<&_Message::get_TimeToAcknowledge>(0x68030003, u"TimeToAcknowledge",
                                          "The TimeToAcknowledge Property refers to the amount of time the "
                                          "message will remain in the queue before it is considered dead."),
};

template <>
struct InterfaceTraits<_Message> {
  static constexpr IID iid = {0xa1f264d3, 0x700c, 0x4957, {0x95, 0x94, 0x52, 0xa2, 0x28, 0xb5, 0x21, 0x26}};
  static constexpr const char16_t* name = u"_Message";
  static constexpr std::span<const Member> members = messageMembers;
};

}  // namespace CorvaneQueue
