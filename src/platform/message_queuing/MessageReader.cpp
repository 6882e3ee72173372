#include "MessageReader.h"

#include <algorithm>
#include <iterator>

namespace CorvaneQueue::platform_layer {

namespace {
// What was read ahead is not used for longer: its validity hangs on writers that may die.
constexpr auto longestReadAhead = std::chrono::milliseconds(50);
constexpr std::size_t readAheadCount = 64;
constexpr std::size_t longestFront = 16;
}  // namespace

bool MessageReader::isFrontOf(Box box) const noexcept {
  return !front_.messages.empty() && front_.box == box &&
         std::chrono::steady_clock::now() - front_.readAt < longestReadAhead;
}

std::optional<MessageHeader> MessageReader::lastFirst(Box box) const {
  return isFrontOf(box) ? std::optional(front_.messages.front()) : std::nullopt;
}

void MessageReader::hold(Box box, std::int64_t position) {
  counts_.addHeld();
  ++heldByUs_;
  if (front_.box != box) return;
  if (!front_.messages.empty() && front_.messages.front().position == position)
    front_.messages.pop_front();
  else
    forgetFirst();
}

// Reads the first messages, and keeps them if they are sure to be the first ones: nobody committed meanwhile,
// and nobody held one of them at the end of that. Who committed before and still held one is seen by his
// lock.
Sight MessageReader::readFront(QueueStore& store, Box box) {
  const bool isUsedUp = front_.box == box && front_.heldByOthers == heldByOthers() && front_.messages.empty();
  frontCount_ = isUsedUp ? std::min(2 * frontCount_, longestFront) : 1;
  Front front{box, {}, heldByOthers(), std::chrono::steady_clock::now()};
  const auto commits = store.database().commits();
  store.read(box, 0, frontCount_, batch_, QueueStore::Bodies::Beside);
  if (batch_.empty()) return {};
  const bool isAnyHeld =
      locks_.heldByOther(box.number(), {batch_.front().position, batch_.back().position}).has_value();
  if (isAnyHeld && isHeld(box, batch_.front().position)) return {std::nullopt, true};
  // A journal loses its oldest messages to its quota, held or not.
  const bool isSure = !isAnyHeld && !box.isJournal && commits && commits == store.database().commits();
  if (!isSure) front.heldByOthers.reset();
  front.messages.assign(std::make_move_iterator(batch_.begin()),
                        std::make_move_iterator(isSure ? batch_.end() : batch_.begin() + 1));
  front_ = std::move(front);
  return {front_.messages.front()};
}

Sight MessageReader::first(QueueStore& store, Box box, std::int64_t after) {
  if (after == 0) {
    if (isFrontOf(box) && isCertain(box, front_.messages.front().position) &&
        !isHeld(box, front_.messages.front().position))
      return {front_.messages.front()};
    Sight front = readFront(store, box);
    if (front.message || !front.isHeldUp) return front;
  }
  for (bool isHeldUp = false;;) {
    store.read(box, after, readAheadCount, batch_);
    if (batch_.empty()) return {std::nullopt, isHeldUp};
    for (MessageHeader& header : batch_) {
      if (header.position <= after) continue;
      const auto held = locks_.heldByOther(box.number(), header.position);
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
