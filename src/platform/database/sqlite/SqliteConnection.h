// A connection to the embedded message store.
#pragma once

#include "Database.h"
#include "MessageLocks.h"
#include "StoreAccess.h"
#include "StoreDefinition.h"

namespace CorvaneQueue::platform_layer {

// Opens the store with the first statement; reading makes no file. The store's transaction begins with the
// first statement that writes: until then a client's transaction keeps nobody waiting, and what it has
// received is held by locks of its own, which the system takes from a process that dies.
class SqliteConnection final : public StoreSession {
 public:
  // The definition must outlive it.
  SqliteConnection(std::filesystem::path file, const StoreDefinition& definition)
      : file_(std::move(file)), definition_(definition) {}
  ~SqliteConnection() override { end(); }

  ObjectStateEnum State() const override;
  std::int32_t BeginTrans() override;
  void CommitTrans() override;
  void RollbackTrans() override;
  using StoreSession::call;
  std::unique_ptr<Recordset> query(std::u16string_view text, std::int32_t seconds) override;
  std::unique_ptr<Recordset> call(std::u16string_view procedure, std::span<Parameter> parameters,
                                  std::int32_t seconds) override;

  // Takes the document for the transaction, if there is one. False when somebody else has it.
  bool tryHold(std::int64_t document);
  void letGo(std::int64_t document) noexcept;
  bool isInTransaction() const noexcept { return level_ > 0; }
  bool isHeldByOther(std::int64_t document);

 private:
  // Runs statements in the open transaction, or in one of their own when they write. What fails leaves no
  // trace.
  using Work = std::function<void(Database& database)>;
  void run(StoreProcedure::Access access, std::int32_t timeout, const Work& work);
  Database& reading();
  Database& writing();
  void open(Database::IfMissing ifMissing);
  void runFirst(StoreProcedure::Access access, Database::Limit limit, const Work& work);
  void runInside(StoreProcedure::Access access, const Work& work);
  void enterLevel(std::int32_t level);
  void leaveTo(const std::string& mark) noexcept;
  void requireTransaction() const;
  void end() noexcept;
  std::filesystem::path lockFile() const;

  std::filesystem::path file_;
  const StoreDefinition& definition_;
  std::optional<Database> database_;
  std::optional<MessageLocks> locks_;
  std::vector<std::int64_t> held_;
  std::optional<ByteRange> heldByOther_;  // seen last
  std::int32_t level_ = 0;
  bool isStarted_ = false;  // the store's transaction
  bool hasPurged_ = false;
};

}  // namespace CorvaneQueue::platform_layer
