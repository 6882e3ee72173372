// What operators do, over whichever store is in use.
#pragma once

#include "ConnectionPoint.h"
#include "FoundDocuments.h"
#include "JournalRule.h"
#include "ResumableRun.h"

#include <algorithm>
#include <limits>

namespace CorvaneQueue {

// A count as clients see it.
inline std::int32_t asLong(std::int64_t count) noexcept {
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(count, most));
}

class PublicStatistics final : public Object<PublicStatistics, StatisticsForm<PublicStatistics>> {
 public:
  PublicStatistics(String queue, const QueueContent& content, const JournalBounds& rule)
      : queue_(std::move(queue)), content_(content), rule_(rule) {}
  String Queue() const { return queue_; }
  std::int32_t Waiting() const { return asLong(content_.waiting); }
  std::int32_t Held() const { return asLong(content_.held); }
  std::int32_t Acknowledged() const { return asLong(content_.acknowledged); }
  Variant WaitingBytes() const { return Variant(content_.waitingBytes); }
  Variant AcknowledgedBytes() const { return Variant(content_.acknowledgedBytes); }
  Variant OldestWaiting() const { return time(content_.oldestWaiting); }
  Variant LastSent() const { return time(content_.lastSent); }
  Variant LastAcknowledged() const { return time(content_.lastAcknowledged); }
  std::int32_t Quota() const noexcept { return content_.quota; }
  std::int32_t JournalQuota() const noexcept { return content_.journalQuota; }
  std::int32_t JournalSeconds() const noexcept { return rule_.seconds; }
  std::int32_t JournalCount() const noexcept { return rule_.count; }
  std::int32_t JournalKilobytes() const noexcept { return rule_.kilobytes; }

 private:
  static Variant time(std::optional<std::int64_t> moment);
  String queue_;
  QueueContent content_;
  JournalBounds rule_;
};

class PublicOperations final
    : public Object<PublicOperations, OperationsForm<PublicOperations>, EventSource<__Operations>> {
 public:
  PublicOperations() = default;
  ~PublicOperations();
  Ref<PublicFilter> NewFilter() { return make<PublicFilter>(); }
  Ref<PublicStatistics> Statistics(StringRef Queue);
  Ref<PublicDocuments> Search(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter);
  std::int32_t Delete(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter);
  std::int32_t Acknowledge(StringRef Queue, const Ref<_Filter>& Filter);
  std::int32_t Move(StringRef Queue, bool IsJournal, StringRef ToQueue, const Ref<_Filter>& Filter);
  std::int32_t Redrive(StringRef Queue, const Ref<_Filter>& Filter);
  std::int32_t Copy(StringRef Queue, bool IsJournal, StringRef ToQueue, const Ref<_Filter>& Filter);
  std::int32_t Export(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter, StringRef File);
  std::int32_t Import(StringRef File, StringRef ToQueue);
  std::int32_t Prune(StringRef Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount,
                     std::int32_t KeepKilobytes);
  void SetJournalRule(StringRef Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount,
                      std::int32_t KeepKilobytes);
  void Compact();
  void DeleteQueue(StringRef Queue, bool EvenIfNotEmpty);
  String Verify();
  void Backup(StringRef Directory);
  void Restore(StringRef Directory);
  void Cancel() noexcept { isCancelled_ = true; }
  std::int32_t Held() const noexcept;
  std::int32_t Before() const noexcept;
  bool StartsAnew() const noexcept { return startsAnew_; }
  void StartsAnew_Let(bool value) noexcept { startsAnew_ = value; }
  String Damaged();
  String Send(const Ref<_Queue>& Queue, StringRef Document);
  void SetCompressMessages(StringRef Queue, bool Value);
  std::int32_t CodePage() const;
  void CodePage_Let(std::int32_t value);

 private:
  static constexpr std::size_t batchCount = 500;  // documents a durable unit
  OperatedStore& store();
  // The documents of a part of a list that a filter lets through, in batches; `batch` deals with one that
  // ends at a position. Returns how many `batch` has dealt with.
  using Batch = std::function<std::int64_t(std::span<const StoredDocument> documents, std::int64_t position)>;
  struct Part {
    std::int64_t from = 0;             // behind it
    std::optional<std::int64_t> last;  // nothing: to what is the end now
  };
  std::int64_t forEachBatch(const DocumentList& list, const DocumentFilter& filter,
                            StoreOperations::Bodies bodies, const Part& part, const Batch& batch);
  std::int32_t change(const DocumentList& list, const Ref<_Filter>& filter, Fate fate,
                      const DocumentList& to);
  std::int32_t copy(const DocumentList& list, const DocumentFilter& filter, const DocumentList& to);
  std::int64_t note(const Changed& changed);
  void begin();
  // Of work that can be taken up again: whoever asked is told of its end when this returns, and when the
  // object is called again or let go he has been.
  void end(ResumableRun&& run);
  void forgetEnded();
  void progress(std::int64_t done, std::int64_t total);
  OperationsAccess::Progress progressInKilobytes();

  std::shared_ptr<OperatedStore> store_;
  std::optional<ResumableRun> ended_;
  bool isCancelled_ = false;
  bool startsAnew_ = false;
  std::int64_t before_ = 0;
  std::int64_t held_ = 0;
  std::vector<std::int64_t> damaged_;
};

}  // namespace CorvaneQueue
