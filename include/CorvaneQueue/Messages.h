// The messages of one queue or journal: a snapshot that Refresh takes, and empty before. Nothing else reads
// the store: no other member, no loop.

#pragma once

#include <CorvaneQueue/Message.h>

namespace CorvaneQueue {

struct _Messages : IDispatch {
  // By position from 1 (error 9 when out of range) or by identifier (error 5 when unknown).
  virtual HRESULT CORVANE_CALL get_Item(VARIANT* vntIndexKey, _Message** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Count(LONG* result) noexcept = 0;
  // Reads the list from the store anew.
  virtual HRESULT CORVANE_CALL raw_Refresh() noexcept = 0;
  // Takes a message out of this list only; the store keeps it.
  virtual HRESULT CORVANE_CALL raw_Remove(VARIANT* vntIndexKey) noexcept = 0;
  // An IEnumVARIANT over the messages as they are now.
  virtual HRESULT CORVANE_CALL get_NewEnum(IUnknown** result) noexcept = 0;
};

inline constexpr std::array messagesMembers{
    get<&_Messages::get_Item>(
        0x0, u"Item", "The Item Property returns a reference to the specified item in the collection.",
        {u"vntIndexKey"}),
    get<&_Messages::get_Count>(0x68030000, u"Count",
                               "The Count Property returns the number of items in the collection."),
    method<&_Messages::raw_Refresh>(0x60030001, u"Refresh", "The Refresh Method"),
    method<&_Messages::raw_Remove>(0x60030005, u"Remove",
                                   "The Remove Method removes the specified item from the collection.",
                                   {u"vntIndexKey"}),
    get<&_Messages::get_NewEnum>(
        DISPID_NEWENUM, u"NewEnum",
        "The NewEnum Property enables \"For Each\" iteration through the items in the collection.")
        .hidden(),
};

template <>
struct InterfaceTraits<_Messages> {
  static constexpr IID iid = {0xce58d251, 0x6b25, 0x4aa4, {0x9f, 0xe4, 0x2c, 0x9b, 0xbc, 0x16, 0x59, 0xdb}};
  static constexpr const char16_t* name = u"_Messages";
  static constexpr std::span<const Member> members = messagesMembers;
};

}  // namespace CorvaneQueue
