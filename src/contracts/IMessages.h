// Back-end interface of the messages of one queue or journal.
#pragma once

#include "IMessage.h"

namespace CorvaneQueue {

struct IMessages : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Item(VARIANT vntIndexKey, IMessage** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT vntIndexKey) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept = 0;
};

inline constexpr std::array iMessagesMembers{
    get<&IMessages::get_Item>(0, u"Item", "", {u"vntIndexKey"}),
    get<&IMessages::get_Count>(1, u"Count"),
    method<&IMessages::raw_Refresh>(2, u"Refresh"),
    method<&IMessages::raw_Remove>(3, u"Remove", "", {u"vntIndexKey"}),
    get<&IMessages::get_NewEnum>(DISPID_NEWENUM, u"NewEnum").hidden(),
};

template <>
struct InterfaceTraits<IMessages> {
  static constexpr IID iid = {0x20a79cb7, 0x01d5, 0x40b0, {0xbe, 0xe2, 0x40, 0x53, 0xa6, 0x6f, 0x61, 0x79}};
  static constexpr const char16_t* name = u"IMessages";
  static constexpr std::span<const Member> members = iMessagesMembers;
};

// The members of IMessages written once for every class that presents it: each vtable member calls the
// form IMessages_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IMessagesForm : public DispatchForm<IMessages> {
 public:
  HRESULT STDMETHODCALLTYPE get_Item(VARIANT vntIndexKey, IMessage** result) noexcept final {
    return answer(result, [&] { return self().IMessages_Item_Get(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* result) noexcept final {
    return answer(result, [&] { return self().IMessages_Count_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final {
    return answer([&] { return self().IMessages_Refresh(); });
  }
  HRESULT STDMETHODCALLTYPE raw_Remove(VARIANT vntIndexKey) noexcept final {
    return answer([&] { return self().IMessages_Remove(vntIndexKey); });
  }
  HRESULT STDMETHODCALLTYPE get_NewEnum(IUnknown** result) noexcept final {
    return answer(result, [&] { return self().IMessages_NewEnum_Get(); });
  }

  auto IMessages_Item_Get(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"IMessages_Item Get", [&] { return self().Item(vntIndexKey); });
  }
  auto IMessages_Count_Get() {
    return self().reportedForm(u"IMessages_Count Get", [&] { return self().Count(); });
  }
  auto IMessages_Refresh() {
    return self().reportedForm(u"IMessages_Refresh", [&] { return self().Refresh(); });
  }
  auto IMessages_Remove(const VARIANT& vntIndexKey) {
    return self().reportedForm(u"IMessages_Remove", [&] { return self().Remove(vntIndexKey); });
  }
  auto IMessages_NewEnum_Get() {
    return self().reportedForm(u"IMessages_NewEnum Get", [&] { return self().NewEnum(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
