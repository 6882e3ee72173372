#pragma once

#include "Form.h"

#include <CorvaneQueue/Queues.h>

namespace CorvaneQueue {

// The members of _Queues written once for every class that presents it: each vtable member calls the
// form Queues_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class QueuesForm : public DispatchForm<_Queues> {
 public:
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final {
    return answer([&] { return self().Queues_Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Exists(BSTR Name, VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Queues_Exists(StringRef(Name)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Add(BSTR Name, _Queue** result) noexcept final {
    return answer(result, [&] { return self().Queues_Add(StringRef(Name)); });
  }
  HRESULT STDMETHODCALLTYPE get_Item(VARIANT vntIndexKey, _Queue** result) noexcept final {
    return answer(result, [&] { return self().Queues_Item_Get(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept final {
    return answer(result, [&] { return self().Queues_Count_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT vntIndexKey) noexcept final {
    return answer([&] { return self().Queues_Remove(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept final {
    return answer(result, [&] { return self().Queues_NewEnum_Get(); });
  }

  auto Queues_Refresh() {
    return self().reportedForm(u"Queues_Refresh", [&] { return self().Refresh(); });
  }
  auto Queues_Exists(StringRef Name) {
    return self().reportedForm(u"Queues_Exists", [&] { return self().Exists(Name); });
  }
  auto Queues_Add(StringRef Name) {
    return self().reportedForm(u"Queues_Add", [&] { return self().Add(Name); });
  }
  auto Queues_Item_Get(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"Queues_Item Get", [&] { return self().Item(vntIndexKey); });
  }
  auto Queues_Count_Get() {
    return self().reportedForm(u"Queues_Count Get", [&] { return self().Count(); });
  }
  auto Queues_Remove(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"Queues_Remove", [&] { return self().Remove(vntIndexKey); });
  }
  auto Queues_NewEnum_Get() {
    return self().reportedForm(u"Queues_NewEnum Get", [&] { return self().NewEnum(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
