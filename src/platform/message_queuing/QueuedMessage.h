// A message: made by a client to be sent, or read from a queue.
#pragma once

#include "Object.h"
#include "QueueService.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

class QueuedMessage final : public Object<QueuedMessage, DispatchForm<IMSMQMessage>> {
 public:
  static constexpr IID classIdentity = {
      0x6be0a94c, 0x1f37, 0x4d52, {0xb8, 0x60, 0x0e, 0x7d, 0x5a, 0xc1, 0x92, 0x3f}};
  static constexpr const char16_t* className = u"Message Queuing message";

  QueuedMessage() = default;
  // Of a box of the installation with that identity; without its body when that was not wanted.
  QueuedMessage(Box box, MessageHeader header, std::shared_ptr<const Variant> body,
                const std::vector<std::uint8_t>& identity);

  HRESULT CORVANE_CALL get_Label(BSTR* result) noexcept final;
  HRESULT CORVANE_CALL put_Label(BSTR value) noexcept final;
  HRESULT CORVANE_CALL get_Body(VARIANT* result) noexcept final;
  HRESULT CORVANE_CALL put_Body(VARIANT value) noexcept final;
  HRESULT CORVANE_CALL get_AppSpecific(LONG* result) noexcept final;
  HRESULT CORVANE_CALL put_AppSpecific(LONG value) noexcept final;
  HRESULT CORVANE_CALL get_Delivery(LONG* result) noexcept final;
  HRESULT CORVANE_CALL put_Delivery(LONG value) noexcept final;
  HRESULT CORVANE_CALL get_Id(VARIANT* result) noexcept final;
  HRESULT CORVANE_CALL get_BodyLength(LONG* result) noexcept final;
  HRESULT CORVANE_CALL get_SentTime(VARIANT* result) noexcept final;
  HRESULT CORVANE_CALL get_ArrivedTime(VARIANT* result) noexcept final;
  HRESULT CORVANE_CALL get_MaxTimeToReceive(LONG* result) noexcept final;
  HRESULT CORVANE_CALL raw_Send(IDispatch* DestinationQueue, VARIANT* Transaction) noexcept final;

  // Its position there, when it was read from that box of that installation.
  std::optional<std::int64_t> positionIn(Box box, std::span<const std::uint8_t> identity) const;

 private:
  Box box_;
  std::int64_t position_ = 0;
  MessageContent content_;
  std::int64_t id_ = 0;
  std::int64_t arrivedTime_ = 0;
  std::int64_t storedLength_ = 0;
  std::array<std::uint8_t, 16> identity_{};
};

}  // namespace CorvaneQueue::platform_layer
