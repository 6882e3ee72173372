#pragma once

#include "Form.h"

#include <CorvaneQueue/Message.h>

namespace CorvaneQueue {

// The members of _Message written once for every class that presents it: each vtable member calls the
// form Message_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class MessageForm : public DispatchForm<_Message> {
 public:
  HRESULT STDMETHODCALLTYPE get_ID(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Message_ID_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* result) noexcept final {
    return answer(result, [&] { return self().Message_AppSpecific_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_ArrivedTime(DATE* result) noexcept final {
    return answer(result, [&] { return self().Message_ArrivedTime_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_Body(VARIANT* result) noexcept final {
    return answer(result, [&] { return self().Message_Body_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_BodyLength(LONG* result) noexcept final {
    return answer(result, [&] { return self().Message_BodyLength_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_Label(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Message_Label_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_SentTime(DATE* result) noexcept final {
    return answer(result, [&] { return self().Message_SentTime_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_TimeToAcknowledge(LONG* result) noexcept final {
    return answer(result, [&] { return self().Message_TimeToAcknowledge_Get(); });
  }

  auto Message_ID_Get() {
    return self().reportedForm(u"Message_ID Get", [&] { return self().ID(); });
  }
  auto Message_AppSpecific_Get() {
    return self().reportedForm(u"Message_AppSpecific Get", [&] { return self().AppSpecific(); });
  }
  auto Message_ArrivedTime_Get() {
    return self().reportedForm(u"Message_ArrivedTime Get", [&] { return self().ArrivedTime(); });
  }
  auto Message_Body_Get() {
    return self().reportedForm(u"Message_Body Get", [&] { return self().Body(); });
  }
  auto Message_BodyLength_Get() {
    return self().reportedForm(u"Message_BodyLength Get", [&] { return self().BodyLength(); });
  }
  auto Message_Label_Get() {
    return self().reportedForm(u"Message_Label Get", [&] { return self().Label(); });
  }
  auto Message_SentTime_Get() {
    return self().reportedForm(u"Message_SentTime Get", [&] { return self().SentTime(); });
  }
  auto Message_TimeToAcknowledge_Get() {
    return self().reportedForm(u"Message_TimeToAcknowledge Get", [&] { return self().TimeToAcknowledge(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
