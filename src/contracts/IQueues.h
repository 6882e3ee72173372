// Back-end interface of the list of queues of one store.
#pragma once

#include "IQueue.h"

namespace CorvaneQueue {

struct IQueues : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Exists(BSTR Name, VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Add(BSTR Name, IQueue** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Item(VARIANT vntIndexKey, IQueue** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT vntIndexKey) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept = 0;
};

inline constexpr std::array iQueuesMembers{
    method<&IQueues::raw_Refresh>(1, u"Refresh"),
    function<&IQueues::raw_Exists>(2, u"Exists", "", {u"Name"}),
    function<&IQueues::raw_Add>(3, u"Add", "", {u"Name"}),
    get<&IQueues::get_Item>(0, u"Item", "", {u"vntIndexKey"}),
    get<&IQueues::get_Count>(4, u"Count"),
    method<&IQueues::raw_Remove>(5, u"Remove", "", {u"vntIndexKey"}),
    get<&IQueues::get_NewEnum>(DISPID_NEWENUM, u"NewEnum").hidden(),
};

template <>
struct InterfaceTraits<IQueues> {
  static constexpr IID iid = {0xb89dc9dd, 0x5c0f, 0x46a7, {0xb7, 0xf5, 0x83, 0x4a, 0x0b, 0xa7, 0x6f, 0xf4}};
  static constexpr const char16_t* name = u"IQueues";
  static constexpr std::span<const Member> members = iQueuesMembers;
};

// The members of IQueues written once for every class that presents it: each vtable member calls the
// form IQueues_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IQueuesForm : public DispatchForm<IQueues> {
 public:
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final {
    return answer([&] { return self().IQueues_Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Exists(BSTR Name, VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IQueues_Exists(StringRef(Name)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Add(BSTR Name, IQueue** result) noexcept final {
    return answer(result, [&] { return self().IQueues_Add(StringRef(Name)); });
  }
  HRESULT STDMETHODCALLTYPE get_Item(VARIANT vntIndexKey, IQueue** result) noexcept final {
    return answer(result, [&] { return self().IQueues_Item_Get(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept final {
    return answer(result, [&] { return self().IQueues_Count_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT vntIndexKey) noexcept final {
    return answer([&] { return self().IQueues_Remove(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept final {
    return answer(result, [&] { return self().IQueues_NewEnum_Get(); });
  }

  auto IQueues_Refresh() {
    return self().reportedForm(u"IQueues_Refresh", [&] { return self().Refresh(); });
  }
  auto IQueues_Exists(StringRef Name) {
    return self().reportedForm(u"IQueues_Exists", [&] { return self().Exists(Name); });
  }
  auto IQueues_Add(StringRef Name) {
    return self().reportedForm(u"IQueues_Add", [&] { return self().Add(Name); });
  }
  auto IQueues_Item_Get(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"IQueues_Item Get", [&] { return self().Item(vntIndexKey); });
  }
  auto IQueues_Count_Get() {
    return self().reportedForm(u"IQueues_Count Get", [&] { return self().Count(); });
  }
  auto IQueues_Remove(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"IQueues_Remove", [&] { return self().Remove(vntIndexKey); });
  }
  auto IQueues_NewEnum_Get() {
    return self().reportedForm(u"IQueues_NewEnum Get", [&] { return self().NewEnum(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
