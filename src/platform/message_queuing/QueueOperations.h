// The queue service for those who operate it.
#pragma once

#include "Attempts.h"
#include "QueueService.h"
#include "StoreOperations.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

// Queues are named by path names.
class QueueOperations final : public StoreOperations {
 public:
  QueueOperations();
  std::int64_t shownNumber(std::int64_t id) const noexcept override { return id & 0xFFFFFFFF; }
  std::size_t shownDigits() const noexcept override { return 10; }
  std::size_t longestLabel() const noexcept override { return MessageContent::longestLabel; }
  std::vector<String> queues() override;
  QueueContent content(const String& queue) override;
  Looked read(const DocumentList& list, std::int64_t from, Direction direction, std::size_t count,
              Bodies bodies, std::vector<StoredDocument>& documents, const Sieve& sieve) override;
  std::optional<StoredDocument> find(const DocumentList& list, std::int64_t shown, Bodies bodies) override;
  Changed change(const DocumentList& list, std::span<const StoredDocument> documents, Fate fate,
                 const String& to, const RunNote& note) override;
  std::vector<std::int64_t> store(const String& queue, std::span<const StoredDocument> documents,
                                  const RunNote& note) override;
  std::vector<RunNote> notes(const std::string& work, const String& queue) override;
  void forgetRun(const std::string& run) override;
  std::int32_t beginAttempt(std::int64_t shown) override;
  void endAttempts(std::int64_t shown) override;
  void noteFailure(std::int64_t shown, const String& reason, std::int32_t attempts) override;
  String failure(std::int64_t shown) override;
  // Arrivals are announced: nobody needs more.
  bool waitForChange(const String&, std::chrono::milliseconds longest) override {
    std::this_thread::sleep_for(longest);
    return false;
  }
  void removeQueue(const String& queue) override;
  std::int64_t compact() override;

 private:
  void look();
  QueueRecord recordOf(std::u16string_view queue);
  Box boxOf(const DocumentList& list) { return {recordOf(list.queue).id, list.isJournal}; }
  StoredDocument documentIn(Box box, const Statement& row, Bodies bodies);
  void change(const Taken& message, Fate fate, std::int64_t to);

  std::shared_ptr<QueueService> service_;  // nothing when there is no store
  std::unique_ptr<MessageLocks> locks_;
  Attempts attempts_;
};

}  // namespace CorvaneQueue::platform_layer
