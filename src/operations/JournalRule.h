// Standing rules for journals.
#pragma once

#include "OperatedStore.h"

#include <chrono>

namespace CorvaneQueue {

// What stays in a journal; -1 for no bound.
struct JournalBounds {
  std::int32_t seconds = -1;  // since the acknowledgement
  std::int32_t count = -1;
  std::int32_t kilobytes = -1;
  bool isAny() const noexcept { return seconds >= 0 || count >= 0 || kilobytes >= 0; }

  // The rule for a queue, as the settings of the installation have it.
  static JournalBounds of(std::u16string_view queue);
  void writeFor(std::u16string_view queue) const;
};

// Which documents of a journal are beyond its bounds. What is too many or too large stands first in the
// journal; what is too old may stand anywhere, as a store need not keep journals in the order of
// acknowledgements.
class BeyondBounds {
 public:
  BeyondBounds(const JournalBounds& bounds, const QueueContent& content) noexcept;
  // Of documents that are asked about from the first one on.
  std::vector<StoredDocument> among(std::span<const StoredDocument> documents);
  bool isTooOld(const StoredDocument& document) const noexcept;

 private:
  bool hasAge_;
  std::int64_t oldest_;
  std::int64_t tooMany_ = 0;
  std::int64_t tooLarge_ = 0;
};

// Applies the rule now and then, some documents at a time, for an object that acknowledges documents: at the
// beginning of the journal, and in turn, from any place on, behind it.
class JournalKeeper {
 public:
  bool isDue() const noexcept { return Clock::now() >= due_; }
  void look(std::u16string_view queue) noexcept;

 private:
  bool prune(std::u16string_view queue, const JournalBounds& bounds);
  using Clock = std::chrono::steady_clock;
  static constexpr auto pause = std::chrono::seconds(1);
  Clock::time_point due_{};
  std::optional<std::int64_t> lookedTo_;  // behind the first ones of the journal
  bool isTold_ = false;                   // that the rule cannot be applied
  std::unique_ptr<OperatedStore> store_;
};

}  // namespace CorvaneQueue
