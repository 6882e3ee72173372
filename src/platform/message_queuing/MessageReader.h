// The messages of a box as somebody sees them who holds none of them.
#pragma once

#include "MessageLocks.h"
#include "QueueStore.h"
#include "SharedCounts.h"

#include <chrono>
#include <deque>

namespace CorvaneQueue::platform_layer {

// A message that was looked for.
struct Sight {
  std::optional<MessageHeader> message;
  bool isHeldUp = false;  // messages are there that others hold
};

// Headers read ahead by one cursor; valid as long as nothing was stored anywhere.
struct ReadAhead {
  std::vector<MessageHeader> headers;
  std::size_t next = 0;
  std::uint64_t generation = 0;
  std::optional<std::uint64_t> freeAt;  // the count of holds at which nobody held any of them
  std::chrono::steady_clock::time_point readAt{};
};

// Of one session. Errors are those of the store.
class MessageReader {
 public:
  // `locks` is the file of the message locks. The counts must outlive it.
  MessageReader(const std::filesystem::path& locks, SharedCounts& counts) : locks_(locks), counts_(counts) {}

  // The first message behind a position that nobody holds.
  Sight first(QueueStore& store, Box box, std::int64_t after);
  Sight first(QueueStore& store, Box box, std::int64_t after, ReadAhead& ahead);
  // The message at that position, or nothing when it is gone or held by somebody.
  std::optional<MessageHeader> at(QueueStore& store, Box box, std::int64_t position);

  // What was the first message of the box a moment ago. For somebody who locks it and then looks whether it
  // is still there: while others send, the first message stays the same.
  std::optional<MessageHeader> lastFirst(Box box) const;
  // Whether a message that has been seen here and locked since is certainly there: nobody else has held any
  // message since it was read.
  bool isCertain(Box box, std::int64_t position) const noexcept {
    return front_.box == box && front_.heldByOthers == heldByOthers() && !front_.messages.empty() &&
           front_.messages.front().position == position;
  }
  // A message of the box has been locked, by us.
  void hold(Box box, std::int64_t position);
  // Messages may have become free, or come to the front.
  void forgetFirst() noexcept { front_ = {}; }

 private:
  bool isHeld(Box box, std::int64_t position) {
    return locks_.heldByOther(box.number(), position).has_value();
  }
  std::uint64_t heldByOthers() const noexcept { return counts_.held() - heldByUs_; }
  bool isFrontOf(Box box) const noexcept;
  Sight readFront(QueueStore& store, Box box);

  MessageLocks locks_;  // never locks: sees the locks of all others
  SharedCounts& counts_;
  std::uint64_t heldByUs_ = 0;
  std::vector<MessageHeader> batch_;
  // The first messages of a box, with small bodies, as they were when nothing before them was held, but by
  // us. Who takes one raises the count of holds before he lets go of its lock: as long as only we raise it,
  // they stay the first ones, whatever is sent behind them.
  struct Front {
    Box box;
    std::deque<MessageHeader> messages;
    std::optional<std::uint64_t> heldByOthers;  // nothing: somebody committed while they were read
    std::chrono::steady_clock::time_point readAt{};
  };
  Front front_;
  std::size_t frontCount_ = 1;  // to be read: more when those read before were used up
  struct Seen {
    Box box;
    MessageHeader header;
  };
  Seen lastAt_;  // at() gave it last
};

}  // namespace CorvaneQueue::platform_layer
