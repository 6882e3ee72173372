// The queues of the configured store. Create it as "CorvaneQueue.Queues"; it comes filled.

#pragma once

#include <CorvaneQueue/Queue.h>

namespace CorvaneQueue {

struct _Queues : IDispatch {
  virtual HRESULT CORVANE_CALL raw_Refresh() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Exists(BSTR Name, VARIANT_BOOL* result) noexcept = 0;
  // Creates the queue in the store when it is missing. Error 457 when the list holds it already.
  virtual HRESULT CORVANE_CALL raw_Add(BSTR Name, _Queue** result) noexcept = 0;
  // By position from 1 (error 9 when out of range) or by name (error 5 when unknown).
  virtual HRESULT CORVANE_CALL get_Item(VARIANT vntIndexKey, _Queue** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Count(LONG* result) noexcept = 0;
  // Takes a queue out of this list only; the store keeps it.
  virtual HRESULT CORVANE_CALL raw_Remove(VARIANT vntIndexKey) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_NewEnum(IUnknown** result) noexcept = 0;
};

inline constexpr std::array queuesMembers{
    method<&_Queues::raw_Refresh>(0x60030001, u"Refresh",
                                  "The Refresh Method udpates the collection with MSMQ."),
    function<&_Queues::raw_Exists>(0x60030002, u"Exists",
                                   "The Exists Method checks for the existance of a queue.", {u"Name"}),
    function<&_Queues::raw_Add>(0x60030003, u"Add",
                                "The Add Method creates and returns a reference to a new Queue instance.",
                                {u"Name"}),
    get<&_Queues::get_Item>(0x0, u"Item",
                            "The Item Property returns a reference to the specified item in the collection.",
                            {u"vntIndexKey"}),
    get<&_Queues::get_Count>(0x68030000, u"Count",
                             "The Count Property returns the number of items in the collection."),
    method<&_Queues::raw_Remove>(0x60030004, u"Remove",
                                 "The Remove Method removes the specified item from the collection.",
                                 {u"vntIndexKey"}),
    get<&_Queues::get_NewEnum>(
        DISPID_NEWENUM, u"NewEnum",
        "The NewEnum Property enables \"For Each\" iteration through the items in the collection.")
        .hidden(),
};

template <>
struct InterfaceTraits<_Queues> {
  static constexpr IID iid = {0x897835fc, 0x6e6b, 0x44e4, {0xbb, 0x88, 0x21, 0x97, 0x76, 0x71, 0xe2, 0x8b}};
  static constexpr const char16_t* name = u"_Queues";
  static constexpr std::span<const Member> members = queuesMembers;
};

inline constexpr CLSID queuesClass = {
    0x8e20bf9c, 0x4928, 0x477d, {0x88, 0xcb, 0x5a, 0x8d, 0x57, 0xe1, 0x0d, 0x6c}};

}  // namespace CorvaneQueue
