// Back-end interface of the messages of one queue or journal.
#pragma once

#include "IMessage.h"

namespace CorvaneQueue {

struct IMessages : IDispatch {
  virtual HRESULT CORVANE_CALL get_Item(VARIANT vntIndexKey, IMessage** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Count(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Refresh() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Remove(VARIANT vntIndexKey) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_NewEnum(IUnknown** result) noexcept = 0;
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

template <class Self>
class IMessagesForm : public DispatchForm<IMessages> {
  FORM_SELF

 public:
  FORM_GET1(IMessages, Item, vntIndexKey)
  FORM_GET(IMessages, Count)
  FORM_METHOD(IMessages, Refresh)
  FORM_METHOD1(IMessages, Remove, vntIndexKey)
  FORM_GET(IMessages, NewEnum)
};

}  // namespace CorvaneQueue
