// Documents that are sent under keys of their senders.
#include "OdbcSession.h"

#include <chrono>
#include <random>
#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {

// Rising with time, so that the index of keys grows at its end.
std::u16string newSenderKey() {
  static constexpr std::u16string_view digits = u"0123456789abcdef";
  thread_local std::random_device random;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  std::uint64_t halves[] = {
      static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count()),
      std::uint64_t{random()} << 32 | random()};
  std::u16string key;
  for (const std::uint64_t half : halves)
    for (int shift = 60; shift >= 0; shift -= 4) {
      if (key.size() == 8 || key.size() == 13 || key.size() == 18 || key.size() == 23) key += u'-';
      key += digits[half >> shift & 0xF];
    }
  return key;
}

}  // namespace

std::unique_ptr<Recordset> OdbcSession::call(std::u16string_view procedure,
                                             const std::shared_ptr<std::vector<Parameter>>& parameters,
                                             std::int32_t seconds) {
  if (procedure != u"[dbo].[mdqCreateMessage]" || level_ != 1 || isStarted_ || !takesSenderKeys())
    return call(procedure, std::span(*parameters), seconds);
  Send send{parameters, newSenderKey(), seconds};
  auto rows = sendOnce(*parameters, send);
  send_ = std::move(send);
  return rows;
}

bool OdbcSession::takesSenderKeys() {
  mustStand();
  try {
    return connection().takesSenderKeys();
  } catch (const OdbcFailure&) {
    connection_.reset();
    return false;  // the call itself tells what is wrong, should it still be
  }
}

std::unique_ptr<Recordset> OdbcSession::sendOnce(std::vector<Parameter>& parameters, const Send& send) {
  std::vector<Parameter> with = parameters;
  with.insert(with.end() - 1, {u"SenderKey", adVarWChar, adParamInput,
                               static_cast<std::int32_t>(send.key.size()), String(send.key)});
  auto rows = call(u"[dbo].[mdqCreateMessageOnce]", std::span(with), send.seconds);
  parameters.back().Value = std::move(with.back().Value);
  return rows;
}

// The server finds out whether it has the document; when it has not, it is stored now.
bool OdbcSession::isSentAgain(const Send& send) {
  const auto parameters = send.parameters.lock();
  if (!parameters) return false;
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(5);
  for (auto pause = std::chrono::milliseconds(50);; pause *= 2) try {
      sendOnce(*parameters, send);
      return true;
    } catch (const Error&) {
      if (Clock::now() + pause > end) return false;
      std::this_thread::sleep_for(pause);
    }
}

}  // namespace CorvaneQueue::platform_layer
