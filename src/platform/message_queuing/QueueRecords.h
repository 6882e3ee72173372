// What the queue service stores: queues and messages.
#pragma once

#include "QueueAddress.h"

#include <CorvaneQueue/Variant.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace CorvaneQueue::platform_layer {

// A queue's waiting messages, or its journal.
struct Box {
  std::int64_t queue = 0;
  bool isJournal = false;
  std::int64_t number() const noexcept { return queue * 2 + (isJournal ? 1 : 0); }
  // Box and position in one number, by which messages are stored.
  std::int64_t key(std::int64_t position) const noexcept { return number() << positionBits | position; }
  static std::int64_t positionIn(std::int64_t key) noexcept { return key & lastPosition; }
  static constexpr int positionBits = 42;
  static constexpr std::int64_t lastPosition = (std::int64_t{1} << positionBits) - 1;
  static constexpr std::int64_t lastQueue = (std::int64_t{1} << (62 - positionBits)) - 1;
  friend bool operator==(const Box&, const Box&) noexcept = default;
};

struct QueueRecord {
  std::int64_t id = 0;
  QueueAddress address;
  bool isTransactional = false;
  bool isWorldReadable = false;
  bool keepsJournal = false;
  std::int32_t quota = -1;  // kilobytes of bodies, -1 for none
  std::int32_t journalQuota = -1;
  // What is in it, and in its journal: messages, and bytes of their bodies.
  std::int64_t messages = 0;
  std::int64_t bytes = 0;
  std::int64_t journalMessages = 0;
  std::int64_t journalBytes = 0;
  // When something was last sent to it or taken from it: seconds since 1970 in UTC.
  std::optional<std::int64_t> lastSent;
  std::optional<std::int64_t> lastTaken;

  // So many more, or fewer, in one of its boxes.
  void count(Box box, std::int64_t moreMessages, std::int64_t moreBytes) noexcept {
    (box.isJournal ? journalMessages : messages) += moreMessages;
    (box.isJournal ? journalBytes : bytes) += moreBytes;
  }
  bool fits(std::int64_t more) const noexcept {
    return quota < 0 || bytes + more <= std::int64_t{quota} * 1024;
  }
};

// Throws MQ_ERROR_INSUFFICIENT_RESOURCES.
[[noreturn]] void overQuota(const QueueRecord& queue);
// Throws MQ_ERROR_MESSAGE_STORAGE_FAILED.
[[noreturn]] void damagedMessage(std::int64_t id);

struct MessageContent {
  static constexpr std::size_t longestLabel = 249;
  String label;
  std::int32_t appSpecific = 0;
  std::int32_t delivery = 0;
  std::int64_t sentTime = 0;            // seconds since 1970 in UTC
  std::shared_ptr<const Variant> body;  // a byte array, or nothing for no bytes
  std::span<const std::uint8_t> bytes() const {
    return body ? bytesOf(body->get()) : std::span<const std::uint8_t>();
  }
};

// All of a stored message but its body.
struct MessageHeader {
  std::int64_t position = 0;  // its place in the box
  std::int64_t id = 0;        // never repeats, and stays when the message goes into the journal
  MessageContent content;
  std::int64_t arrivedTime = 0;
  std::int64_t bodyLength = 0;
  std::uint64_t checksum = 0;
  // Read with its body, which is worth something as long as there are no other commits.
  std::optional<std::uint64_t> readAt;
};

// Over everything that must come out as it went in, and what it belongs to. The label in its stored form.
std::uint64_t checksumOf(std::int64_t queue, const MessageHeader& header, std::string_view label,
                         std::span<const std::uint8_t> body);

// A message on its way into a queue.
struct Outgoing {
  std::int64_t queue = 0;
  MessageContent content;
};
// A message on its way out of a box.
struct Taken {
  Box box;
  std::int64_t position = 0;
  std::int64_t id = 0;
};

}  // namespace CorvaneQueue::platform_layer
