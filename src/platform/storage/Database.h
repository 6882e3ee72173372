// One session with an embedded store: an SQLite file in write-ahead mode that many processes share.
#pragma once

#include "Durability.h"
#include "Reserve.h"
#include "Statement.h"
#include "StoreFiles.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace CorvaneQueue::platform_layer {

// Not thread safe: belongs to the thread that opened it. In a process that was forked off it is dead.
class Database {
 public:
  enum class IfMissing {
    Create,
    ReadEmpty,  // makes no file: an empty store in memory stands in for it
  };
  // Opens or creates the file, under the schema name `dbo`, and brings its schema up to date:
  // `migrations[i]` leads from version i to i + 1. Refuses a newer schema, and a file that is not a
  // database. Errors name the file.
  Database(const std::filesystem::path& file, std::span<const std::string_view> migrations,
           IfMissing ifMissing = IfMissing::Create);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Of a cached statement: the text is prepared once.
  Statement prepare(std::string_view sql);
  // With its parameters, in order: numbers, texts and bytes, which must stay until the statement is done.
  template <class... Values>
  Statement rows(std::string_view sql, Values&&... values) {
    Statement statement = prepare(sql);
    statement.bindAll(std::forward<Values>(values)...);
    return statement;
  }
  // The same, to its end.
  template <class... Values>
  void execute(std::string_view sql, const Values&... values) {
    Statement statement = rows(sql, values...);
    while (statement.step()) {
    }
  }

  enum class Purpose {
    Stores,  // refused when the disk is full but for the reserve, or the store is damaged
    Frees,   // takes documents out: goes on with the reserve
  };
  // How long to wait for the other writers; nothing: without end.
  using Limit = std::optional<std::chrono::seconds>;
  // Runs `work` as one durable unit: all of it, or nothing and the error (but for SyncFailed).
  void write(Purpose purpose, Limit limit, const std::function<void()>& work) {
    write(purpose, limit, work, Durable::Now);
  }

  // The same in steps. Nobody else writes from begin to commit or rollback.
  void begin(Purpose purpose, Limit limit);
  // For a transaction that was begun for the other purpose.
  void mustTake(Purpose purpose);
  // Durable when it returns, or with a later commit: until then it survives the death of this process, not of
  // the machine. On failure everything is rolled back, but for SyncFailed.
  enum class Durable { Now, Later };
  void commit(Durable when = Durable::Now);
  void rollback() noexcept;
  void write(Purpose purpose, Limit limit, const std::function<void()>& work, Durable when);
  bool inTransaction() const noexcept { return inTransaction_; }
  // Another number with every commit of any process; nothing while one goes on.
  std::optional<std::uint64_t> commits() const noexcept;
  // A transaction of a client, which may stay open while the client does other things: another session of its
  // thread would wait for it in vain.
  void keepOpen() noexcept;

  // Gives free pages back to the disk, should there be many, in short transactions.
  void giveBackSpace();
  // The same for some of them, however few there are; the bytes that are left, 0 also for an older store
  // that cannot give them back.
  std::int64_t giveBackSome();
  // False once the store has ended the transaction by itself, or the file is no longer there, or in a forked
  // process.
  bool isUsable() const noexcept;
  // No other session was open when this one was opened.
  bool wasFirst() const noexcept { return wasFirst_; }
  // An empty store in memory stands in for a file that was not there.
  bool isStandIn() const noexcept { return isStandIn_; }
  const StoreFile& file() const noexcept { return file_; }
  sqlite3* handle() const noexcept { return handle_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* handle) const noexcept;
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };
  void open(std::span<const std::string_view> migrations);
  void openHandle(const std::string& attached);
  void openStandIn(std::span<const std::string_view> migrations);
  void mustNotBeHalfRestored() const;
  void dropUnusedCopy() const;
  void readAsItIs();
  void inspectLog();
  void setStaleLogAside();
  void checkDamage();
  std::uint32_t generation();
  Statement cached(std::string_view sql);
  void beforeReading();
  void beginLog();
  std::uint32_t generationInFile() const;
  void endTransaction() noexcept;
  void giveUpReserve() noexcept;
  std::int64_t freePages();
  bool giveBackPages();
  void moveLog(std::chrono::milliseconds patience) noexcept;
  void check(int code, const char* tried) const;
  int onBusy(int attempt);

  StoreFile file_;
  StoreFiles files_;
  int process_;
  bool isStandIn_ = false;
  bool wasFirst_ = false;
  std::shared_ptr<class Sessions> sessions_;
  std::unique_ptr<StoreSharing> sharing_;
  std::unique_ptr<sqlite3, Close> handle_;
  std::unordered_map<std::string, std::unique_ptr<sqlite3_stmt, Finalize>, TextHash, std::equal_to<>>
      statements_;
  std::optional<Durability> durability_;
  Reserve reserve_;
  std::chrono::steady_clock::time_point deadline_{};
  bool inTransaction_ = false;
  bool beginsLog_ = false;
};

}  // namespace CorvaneQueue::platform_layer
