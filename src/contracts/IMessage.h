// Back-end interface of one message; read only.
#pragma once

#include "FormMembers.h"

namespace CorvaneQueue {

struct IMessage : IDispatch {
  virtual HRESULT CORVANE_CALL get_AppSpecific(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ArrivedTime(DATE* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Body(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_BodyLength(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Label(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SentTime(DATE* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_TimeToAcknowledge(LONG* result) noexcept = 0;
};

inline constexpr std::array iMessageMembers{
    get<&IMessage::get_AppSpecific>(1, u"AppSpecific"),
    get<&IMessage::get_ArrivedTime>(2, u"ArrivedTime"),
    get<&IMessage::get_Body>(0, u"Body"),
    get<&IMessage::get_BodyLength>(3, u"BodyLength"),
    get<&IMessage::get_ID>(4, u"ID"),
    get<&IMessage::get_Label>(5, u"Label"),
    get<&IMessage::get_SentTime>(6, u"SentTime"),
    get<&IMessage::get_TimeToAcknowledge>(7, u"TimeToAcknowledge"),
};

template <>
struct InterfaceTraits<IMessage> {
  static constexpr IID iid = {0xe21ddec7, 0x2943, 0x41fb, {0x82, 0xbc, 0x3e, 0x40, 0xae, 0x19, 0xbb, 0xcb}};
  static constexpr const char16_t* name = u"IMessage";
  static constexpr std::span<const Member> members = iMessageMembers;
};

template <class Self>
class IMessageForm : public DispatchForm<IMessage> {
  FORM_SELF

 public:
  FORM_GET(IMessage, AppSpecific)
  FORM_GET(IMessage, ArrivedTime)
  FORM_GET(IMessage, Body)
  FORM_GET(IMessage, BodyLength)
  FORM_GET(IMessage, ID)
  FORM_GET(IMessage, Label)
  FORM_GET(IMessage, SentTime)
  FORM_GET(IMessage, TimeToAcknowledge)
};

}  // namespace CorvaneQueue
