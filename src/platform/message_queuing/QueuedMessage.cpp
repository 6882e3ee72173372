#include "QueuedMessage.h"

#include "Clock.h"
#include "Dates.h"
#include "OpenQueue.h"
#include "StoredText.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t longestBody = 1'000'000'000;

Variant localDate(std::int64_t time) {
  const std::tm local = localTime(time);
  return dateOf({dayNumber(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday),
                 local.tm_hour * 3600 + local.tm_min * 60 + std::min(local.tm_sec, 59)});
}

}  // namespace

QueuedMessage::QueuedMessage(Box box, MessageHeader header, std::shared_ptr<const Variant> body,
                             const std::vector<std::uint8_t>& identity)
    : box_(box),
      position_(header.position),
      content_(std::move(header.content)),
      id_(header.id),
      arrivedTime_(header.arrivedTime),
      storedLength_(header.bodyLength) {
  content_.body = std::move(body);
  std::copy_n(identity.begin(), identity_.size(), identity_.begin());
}

std::optional<std::int64_t> QueuedMessage::positionIn(Box box, std::span<const std::uint8_t> identity) const {
  const bool isFromThere = id_ != 0 && box_ == box && std::ranges::equal(identity_, identity);
  return isFromThere ? std::optional(position_) : std::nullopt;
}

HRESULT QueuedMessage::get_Label(BSTR* result) noexcept {
  return answer(result, [&] { return content_.label; });
}
HRESULT QueuedMessage::put_Label(BSTR value) noexcept {
  return answer([&] { content_.label = String(StringRef(value)); });
}

HRESULT QueuedMessage::get_Body(VARIANT* result) noexcept {
  return answer(result, [&] { return content_.body ? *content_.body : Variant::bytes({}); });
}
HRESULT QueuedMessage::put_Body(VARIANT value) noexcept {
  return answer([&] {
    auto body = std::make_shared<const Variant>(Variant::bytes(bytesOf(value)));
    if (bytesOf(body->get()).size() > longestBody)
      throw Error(ErrorNumber::InvalidArgument, queuingSource, u"A body has 1,000,000,000 bytes at most.");
    content_.body = std::move(body);
  });
}

HRESULT QueuedMessage::get_AppSpecific(LONG* result) noexcept {
  return answer(result, [&] { return content_.appSpecific; });
}
HRESULT QueuedMessage::put_AppSpecific(LONG value) noexcept {
  return answer([&] { content_.appSpecific = value; });
}
HRESULT QueuedMessage::get_Delivery(LONG* result) noexcept {
  return answer(result, [&] { return content_.delivery; });
}
HRESULT QueuedMessage::put_Delivery(LONG value) noexcept {
  return answer([&] {
    if (value != 0 && value != MQMSG_DELIVERY_RECOVERABLE)
      throw Error(ErrorNumber::InvalidArgument, queuingSource,
                  u"Delivery is 0 (express) or 1 (recoverable); both are durable here.");
    content_.delivery = value;
  });
}

// The installation, then the number, least significant byte first. A number beyond 32 bits counts in the
// installation's last bytes.
HRESULT QueuedMessage::get_Id(VARIANT* result) noexcept {
  return answer(result, [&] {
    std::array<std::uint8_t, 20> id{};
    std::ranges::copy(identity_, id.begin());
    auto number = static_cast<std::uint64_t>(id_);
    for (std::size_t i = 16; i < 20; ++i, number >>= 8) id[i] = static_cast<std::uint8_t>(number);
    for (std::size_t i = 15; number != 0; --i, number >>= 8) id[i] ^= static_cast<std::uint8_t>(number);
    return Variant::bytes(id);
  });
}

HRESULT QueuedMessage::get_BodyLength(LONG* result) noexcept {
  return answer(result, [&] {
    return static_cast<std::int32_t>(content_.body ? static_cast<std::int64_t>(content_.bytes().size())
                                                   : storedLength_);
  });
}
HRESULT QueuedMessage::get_SentTime(VARIANT* result) noexcept {
  return answer(result, [&] { return id_ == 0 ? Variant(Date{}) : localDate(content_.sentTime); });
}
HRESULT QueuedMessage::get_ArrivedTime(VARIANT* result) noexcept {
  return answer(result, [&] { return id_ == 0 ? Variant(Date{}) : localDate(arrivedTime_); });
}
HRESULT QueuedMessage::get_MaxTimeToReceive(LONG* result) noexcept {
  return answer(result, [] { return INFINITE_TIMEOUT; });
}

HRESULT QueuedMessage::raw_Send(IDispatch* DestinationQueue, VARIANT* Transaction) noexcept {
  return answer([&] {
    const auto queue = queryClass<OpenQueue>(DestinationQueue);
    if (content_.label.size() > MessageContent::longestLabel)
      queuingFailed(MQ_ERROR_LABEL_TOO_LONG,
                    u"The label has " + decimal(content_.label.size()) +
                        u" characters, and at most 249 are allowed; nothing was sent.");
    MessageContent sent = content_;
    sent.sentTime = std::time(nullptr);
    queue->send(std::move(sent), transactionArgument(Transaction));
  });
}

}  // namespace CorvaneQueue::platform_layer
