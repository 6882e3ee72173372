// Back-end interface of one message; read only.
#pragma once

#include "Form.h"

namespace CorvaneQueue {

struct IMessage : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ArrivedTime(DATE* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Body(VARIANT* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_BodyLength(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_ID(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Label(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SentTime(DATE* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_TimeToAcknowledge(LONG* result) noexcept = 0;
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

// The members of IMessage written once for every class that presents it: each vtable member calls the
// form IMessage_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IMessageForm : public DispatchForm<IMessage> {
 public:
  HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* result) noexcept final {
    return answer(result, [&] { return self().IMessage_AppSpecific_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_ArrivedTime(DATE* result) noexcept final {
    return answer(result, [&] { return self().IMessage_ArrivedTime_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_Body(VARIANT* result) noexcept final {
    return answer(result, [&] { return self().IMessage_Body_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_BodyLength(LONG* result) noexcept final {
    return answer(result, [&] { return self().IMessage_BodyLength_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_ID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IMessage_ID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_Label(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IMessage_Label_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_SentTime(DATE* result) noexcept final {
    return answer(result, [&] { return self().IMessage_SentTime_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_TimeToAcknowledge(LONG* result) noexcept final {
    return answer(result, [&] { return self().IMessage_TimeToAcknowledge_Get(); });
  }

  auto IMessage_AppSpecific_Get() {
    return self().reportedForm(u"IMessage_AppSpecific Get", [&] { return self().AppSpecific(); });
  }
  auto IMessage_ArrivedTime_Get() {
    return self().reportedForm(u"IMessage_ArrivedTime Get", [&] { return self().ArrivedTime(); });
  }
  auto IMessage_Body_Get() {
    return self().reportedForm(u"IMessage_Body Get", [&] { return self().Body(); });
  }
  auto IMessage_BodyLength_Get() {
    return self().reportedForm(u"IMessage_BodyLength Get", [&] { return self().BodyLength(); });
  }
  auto IMessage_ID_Get() {
    return self().reportedForm(u"IMessage_ID Get", [&] { return self().ID(); });
  }
  auto IMessage_Label_Get() {
    return self().reportedForm(u"IMessage_Label Get", [&] { return self().Label(); });
  }
  auto IMessage_SentTime_Get() {
    return self().reportedForm(u"IMessage_SentTime Get", [&] { return self().SentTime(); });
  }
  auto IMessage_TimeToAcknowledge_Get() {
    return self().reportedForm(u"IMessage_TimeToAcknowledge Get", [&] { return self().TimeToAcknowledge(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
