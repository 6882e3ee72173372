// Back-end interface of the list of queues of one store.
#pragma once

#include "IQueue.h"

namespace CorvaneQueue {

struct IQueues : IDispatch {
  virtual HRESULT CORVANE_CALL raw_Refresh() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Exists(BSTR Name, VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Add(BSTR Name, IQueue** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Item(VARIANT vntIndexKey, IQueue** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Count(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Remove(VARIANT vntIndexKey) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_NewEnum(IUnknown** result) noexcept = 0;
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

template <class Self>
class IQueuesForm : public DispatchForm<IQueues> {
  FORM_SELF

 public:
  FORM_METHOD(IQueues, Refresh)
  FORM_FUNCTION1(IQueues, Exists, Name)
  FORM_FUNCTION1(IQueues, Add, Name)
  FORM_GET1(IQueues, Item, vntIndexKey)
  FORM_GET(IQueues, Count)
  FORM_METHOD1(IQueues, Remove, vntIndexKey)
  FORM_GET(IQueues, NewEnum)
};

}  // namespace CorvaneQueue
