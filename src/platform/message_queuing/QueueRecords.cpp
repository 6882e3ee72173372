#include "QueueRecords.h"

#include "StoredText.h"

#include <CorvaneQueue/MessageQueuing.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue::platform_layer {

void overQuota(const QueueRecord& queue) {
  queuingFailed(MQ_ERROR_INSUFFICIENT_RESOURCES,
                u"The queue " + shownName(queue.address) + u" has reached its quota of " +
                    decimal(queue.quota) + u" kilobytes; nothing was sent. Receive or purge messages.");
}

void damagedMessage(std::int64_t id) {
  queuingFailed(MQ_ERROR_MESSAGE_STORAGE_FAILED,
                u"The stored message " + decimal(id) +
                    u" is damaged: it is not what was sent, and is not handed out. Restore the store from a "
                    u"copy, or purge the queue.");
}

std::uint64_t checksumOf(std::int64_t queue, const MessageHeader& header, std::string_view label,
                         std::span<const std::uint8_t> body) {
  const std::int64_t numbers[] = {queue,
                                  header.id,
                                  header.content.appSpecific,
                                  header.content.delivery,
                                  header.content.sentTime,
                                  header.arrivedTime,
                                  static_cast<std::int64_t>(body.size())};
  const std::uint64_t ofNumbers = XXH3_64bits(numbers, sizeof numbers);
  const std::uint64_t ofLabel = XXH3_64bits_withSeed(label.data(), label.size(), ofNumbers);
  return XXH3_64bits_withSeed(body.data(), body.size(), ofLabel);
}

}  // namespace CorvaneQueue::platform_layer
