// One session with an embedded store: an SQLite file in write-ahead mode that many processes share.
#pragma once

#include "Files.h"

#include <CorvaneQueue/Variant.h>

#include <chrono>
#include <cstdint>
#include <filesystem>

#include <sys/stat.h>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace CorvaneQueue::platform_layer {

// The source of the errors of a store.
inline constexpr std::u16string_view storeSource = u"CorvaneQueue.MessageStore";

// The disk has no room for what was to be stored.
class DiskFull : public Error {
 public:
  using Error::Error;
};

// Everything is stored, but whether it survives a power failure is not known.
class SyncFailed : public Error {
 public:
  using Error::Error;
};

// A prepared statement while it is in use; resets itself for the next user. Parameters count from 1,
// columns from 0. Bytes that are bound or read are not copied: bound ones must stay until the
// statement is done, read ones are gone with the next step.
class Statement {
 public:
  Statement(sqlite3_stmt* statement, const std::filesystem::path& file) noexcept
      : statement_(statement), file_(&file) {}
  Statement(Statement&& other) noexcept
      : statement_(std::exchange(other.statement_, nullptr)), file_(other.file_) {}
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  int parameterCount() const noexcept;
  void bindNull(int parameter);
  void bind(int parameter, std::int64_t number);
  void bindText(int parameter, std::string_view bytes);
  void bindBlob(int parameter, std::span<const std::uint8_t> bytes);
  // Whether there is a row.
  bool step();
  // False when the store is busy with somebody else's transaction and that is not a failure.
  enum class Busy { Fails, Returns };
  bool tryStep(Busy busy);
  int columnCount() const noexcept;
  enum class Type { Null, Integer, Real, Text };
  Type type(int column) const noexcept;
  // The declared type of a table's column, empty for an expression.
  std::string_view declaredType(int column) const noexcept;
  std::int64_t integer(int column) const noexcept;
  double real(int column) const noexcept;
  std::string_view text(int column) const;
  std::span<const std::uint8_t> blob(int column) const;

 private:
  void check(int code, const char* tried) const;
  sqlite3_stmt* statement_;
  const std::filesystem::path* file_;
};

// Not thread safe: belongs to the thread that opened it. In a process that was forked off it is dead.
class Database {
 public:
  // Opens or creates the file, under the schema name `dbo`, and brings its schema up to date:
  // `migrations[i]` leads from version i to i + 1. Refuses a newer schema, and a file that is not a
  // database. Errors name the file.
  Database(std::filesystem::path file, std::span<const std::string_view> migrations);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Of a cached statement: the text is prepared once.
  Statement prepare(std::string_view sql);
  void execute(std::string_view sql);

  enum class Duration {
    Short,  // ends within the call that begins it
    Open,   // a client keeps it open as long as it likes
  };
  // Waits for the other writers, at most `limit` (none: without end) for an open transaction of
  // somebody else.
  void begin(Duration duration, std::optional<std::chrono::seconds> limit);
  // Durable when it returns. On failure everything is rolled back, but for SyncFailed.
  void commit();
  // Moves the log into the file as far as nobody reads it, so that its room can be used again.
  void checkpoint() noexcept;
  void rollback() noexcept;
  bool inTransaction() const noexcept { return inTransaction_; }
  // False once the store has ended the transaction by itself, after a failed sync, or in a forked process.
  bool isUsable() const noexcept;

 private:
  struct Close {
    void operator()(sqlite3* handle) const noexcept;
  };
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  void enlist();
  void delist() noexcept;
  void noteTransaction(bool isOpen) noexcept;
  bool isAwaitedInVain() const;
  const FileDescriptor& writersLock() const;
  void open();
  void migrate(std::span<const std::string_view> migrations);
  void endTransaction() noexcept;
  void sync();
  void check(int code, const char* tried) const;
  int onBusy(int attempt);

  std::shared_ptr<struct Sessions> sessions_;  // of this process
  void mustBeThere();

  std::filesystem::path file_;
  struct stat opened_ {};
  int process_;
  FileDescriptor lockFile_;
  std::unique_ptr<sqlite3, Close> handle_;
  std::unordered_map<std::string, std::unique_ptr<sqlite3_stmt, Finalize>, TextHash, std::equal_to<>>
      statements_;
  std::optional<FileLock> turn_;
  std::chrono::steady_clock::time_point deadline_{};
  bool inTransaction_ = false;
  bool isOpenEnded_ = false;
  bool isBeginning_ = false;
  bool isSuspect_ = false;  // a sync has failed: what is durable is not known
};

}  // namespace CorvaneQueue::platform_layer
