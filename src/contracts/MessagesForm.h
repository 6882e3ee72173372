#pragma once

#include "Form.h"

#include <CorvaneQueue/Messages.h>

namespace CorvaneQueue {

// The members of _Messages written once for every class that presents it: each vtable member calls the
// form Messages_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class MessagesForm : public DispatchForm<_Messages> {
 public:
  HRESULT STDMETHODCALLTYPE get_Item(VARIANT* vntIndexKey, _Message** result) noexcept final {
    return answer(result, [&] { return self().Messages_Item_Get(given(vntIndexKey)); });
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept final {
    return answer(result, [&] { return self().Messages_Count_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final {
    return answer([&] { return self().Messages_Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT* vntIndexKey) noexcept final {
    return answer([&] { return self().Messages_Remove(given(vntIndexKey)); });
  }
  HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept final {
    return answer(result, [&] { return self().Messages_NewEnum_Get(); });
  }

  auto Messages_Item_Get(VARIANT& vntIndexKey) {
    return self().reportedForm(u"Messages_Item Get", [&] { return self().Item(vntIndexKey); });
  }
  auto Messages_Count_Get() {
    return self().reportedForm(u"Messages_Count Get", [&] { return self().Count(); });
  }
  auto Messages_Refresh() {
    return self().reportedForm(u"Messages_Refresh", [&] { return self().Refresh(); });
  }
  auto Messages_Remove(VARIANT& vntIndexKey) {
    return self().reportedForm(u"Messages_Remove", [&] { return self().Remove(vntIndexKey); });
  }
  auto Messages_NewEnum_Get() {
    return self().reportedForm(u"Messages_NewEnum Get", [&] { return self().NewEnum(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
