// The embedded message store for those who operate it.
#pragma once

#include "Attempts.h"
#include "Database.h"
#include "FileWatcher.h"
#include "MessageLocks.h"
#include "StoreDefinition.h"
#include "StoreOperations.h"

namespace CorvaneQueue::platform_layer {

class SqliteOperations final : public StoreOperations {
 public:
  // The definition must outlive it.
  SqliteOperations(std::filesystem::path file, const StoreDefinition& definition);
  std::int64_t shownNumber(std::int64_t id) const noexcept override { return id; }
  std::size_t shownDigits() const noexcept override { return 19; }
  std::size_t longestLabel() const noexcept override { return longestText; }
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
  bool waitForChange(const String& queue, std::chrono::milliseconds longest) override;
  void removeQueue(const String& queue) override;
  std::int64_t compact() override;

 private:
  static constexpr std::size_t longestText = 250;  // of a label or a name
  static StoredDocument documentIn(const Statement& row, std::int64_t sent, Bodies bodies);
  std::int64_t numberOf(std::u16string_view queue);
  std::span<const std::string_view> statementsFor(const DocumentList& list, Fate fate) const;
  void open(Database::IfMissing ifMissing);
  Database& reading();
  Database& writing();
  std::filesystem::path lockFile() const;

  std::filesystem::path file_;
  const StoreDefinition& definition_;
  const OperationStatements& sql_;
  std::optional<Database> database_;
  std::optional<MessageLocks> locks_;
  Attempts attempts_;
  FileWatcher watcher_;
  bool isWatching_ = false;
  bool isCompacting_ = false;
};

}  // namespace CorvaneQueue::platform_layer
