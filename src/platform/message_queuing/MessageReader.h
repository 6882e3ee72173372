// The messages of a box as somebody sees them who holds none of them.
#pragma once

#include "MessageLocks.h"
#include "QueueStore.h"
#include "SharedCounts.h"

#include <chrono>

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
  MessageReader(const std::filesystem::path& locks, const SharedCounts& counts)
      : locks_(locks), counts_(counts) {}

  // The first message behind a position that nobody holds.
  Sight first(QueueStore& store, Box box, std::int64_t after);
  Sight first(QueueStore& store, Box box, std::int64_t after, ReadAhead& ahead);
  // What was the first message of the box a moment ago, if nobody holds it. For somebody who takes it and
  // then looks whether it is still there: while others send, the first message stays the same.
  std::optional<MessageHeader> lastFirst(Box box);
  void forgetFirst() noexcept { front_ = {}; }
  // The message at that position, or nothing when it is gone or held by somebody.
  std::optional<MessageHeader> at(QueueStore& store, Box box, std::int64_t position);

 private:
  bool isHeld(Box box, std::int64_t position) {
    return locks_.heldByOther(box.number(), position).has_value();
  }

  MessageLocks locks_;  // never locks: sees the locks of all others
  const SharedCounts& counts_;
  std::vector<MessageHeader> batch_;
  // The first message of a box, seen when nothing before it was held: who looks whether there is one mostly
  // receives it then.
  struct Seen {
    Box box;
    MessageHeader header;
    std::uint64_t generation = 0;
    std::chrono::steady_clock::time_point readAt{};
  };
  Seen front_;
  Seen lastAt_;  // at() gave it last
};

}  // namespace CorvaneQueue::platform_layer
