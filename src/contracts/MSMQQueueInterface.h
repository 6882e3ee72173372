// The members of the Message Queuing queue beyond IQueue that the Queue facade reaches through the
// class interface.
#pragma once

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

struct _MSMQQueue : IDispatch {
  virtual HRESULT CORVANE_CALL raw_ReceiveEnable() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ReceiveDisable() noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_BeginTransaction(IMSMQTransaction** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Transaction(IMSMQTransaction** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Transaction(IMSMQTransaction* value) noexcept = 0;
};

inline constexpr std::array msmqClassMembers{
    method<&_MSMQQueue::raw_ReceiveEnable>(1, u"ReceiveEnable"),
    method<&_MSMQQueue::raw_ReceiveDisable>(2, u"ReceiveDisable"),
    function<&_MSMQQueue::raw_BeginTransaction>(3, u"BeginTransaction"),
    get<&_MSMQQueue::get_Transaction>(4, u"Transaction"),
    set<&_MSMQQueue::putref_Transaction>(4, u"Transaction"),
};

template <>
struct InterfaceTraits<_MSMQQueue> {
  static constexpr IID iid = {0x124746f2, 0x91d1, 0x417d, {0x84, 0x96, 0x22, 0x8c, 0xc9, 0xe2, 0xc4, 0xc3}};
  static constexpr const char16_t* name = u"_MSMQQueue";
  static constexpr std::span<const Member> members = msmqClassMembers;
};

// The event interface of the Message Queuing queue; same event as __Queue.
struct __MSMQQueue : IDispatch {};
template <>
struct InterfaceTraits<__MSMQQueue> {
  static constexpr IID iid = {0x671a4514, 0xd625, 0x4a6b, {0xa0, 0x5d, 0x87, 0x8c, 0x66, 0x15, 0x1c, 0x45}};
  static constexpr const char16_t* name = u"__MSMQQueue";
};

}  // namespace CorvaneQueue
