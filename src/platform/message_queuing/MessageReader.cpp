#include "MessageReader.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {
// What was read ahead is not used for longer: its validity hangs on writers that may die.
constexpr auto longestReadAhead = std::chrono::milliseconds(50);
constexpr std::size_t readAheadCount = 64;
}  // namespace

Sight MessageReader::first(QueueStore& store, Box box, std::int64_t after) {
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t generation = counts_.stored();
  const bool isFromFront = after == 0;
  if (isFromFront && front_.box == box && front_.generation == generation &&
      now - front_.readAt < longestReadAhead && !isHeld(box, front_.header.position))
    return {front_.header};
  bool isHeldUp = false;
  for (std::size_t count = 1;; count = readAheadCount) {
    store.read(box, after, count, batch_,
               count == 1 ? QueueStore::Bodies::Beside : QueueStore::Bodies::Later);
    if (batch_.empty()) return {std::nullopt, isHeldUp};
    for (MessageHeader& header : batch_) {
      if (header.position <= after) continue;
      const auto held = locks_.heldByOther(box.number(), header.position);
      if (!held && isFromFront && !isHeldUp) front_ = {box, header, generation, now};
      if (!held) return {std::move(header), isHeldUp};
      isHeldUp = true;
      after = std::max(header.position, held->to);
    }
  }
}

Sight MessageReader::first(QueueStore& store, Box box, std::int64_t after, ReadAhead& ahead) {
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t generation = counts_.stored();
  auto& [headers, next, readGeneration, freeAt, readAt] = ahead;
  const bool isValid = generation == readGeneration && now - readAt < longestReadAhead && next > 0 &&
                       next < headers.size() && headers[next - 1].position == after;
  if (!isValid) {
    const std::size_t count = headers.empty() ? 1 : readAheadCount;
    store.read(box, after, count, headers);
    next = 0;
    readGeneration = generation;
    readAt = now;
    freeAt.reset();
    if (const std::uint64_t holds = counts_.held(); headers.size() > 1)
      if (!locks_.heldByOther(box.number(), {headers.front().position, headers.back().position}))
        freeAt = holds;
  }
  if (next < headers.size() && (freeAt == counts_.held() || !isHeld(box, headers[next].position)))
    return {std::move(headers[next++])};  // its position stays
  headers.clear();
  return first(store, box, after);
}

std::optional<MessageHeader> MessageReader::lastFirst(Box box) {
  const auto now = std::chrono::steady_clock::now();
  const bool isKnown = front_.box == box && now - front_.readAt < longestReadAhead;
  return isKnown && !isHeld(box, front_.header.position) ? std::optional(front_.header) : std::nullopt;
}

std::optional<MessageHeader> MessageReader::at(QueueStore& store, Box box, std::int64_t position) {
  const bool isKnown = lastAt_.box == box && lastAt_.header.position == position && lastAt_.header.readAt &&
                       lastAt_.header.readAt == store.database().commits();
  if (!isKnown) {
    store.read(box, position - 1, 1, batch_, QueueStore::Bodies::Beside);
    if (batch_.empty() || batch_.front().position != position) return std::nullopt;
    lastAt_ = {box, std::move(batch_.front())};
  }
  return isHeld(box, position) ? std::nullopt : std::optional(lastAt_.header);
}

}  // namespace CorvaneQueue::platform_layer
