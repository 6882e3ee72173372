#include "Schema.h"

#include "File.h"

#include "Statement.h"
#include "StoredText.h"

#include <sqlite3.h>
#include <memory>

namespace CorvaneQueue::platform_layer {

namespace {

struct Finalize {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Prepared = std::unique_ptr<sqlite3_stmt, Finalize>;

Prepared prepared(sqlite3* handle, const StoreFile& file, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (const int code = sqlite3_prepare_v2(handle, sql, -1, &statement, nullptr); code != SQLITE_OK)
    file.failFor(handle, code, "a statement");
  return Prepared(statement);
}

std::string journalMode(sqlite3* handle, const StoreFile& file, const char* sql) {
  const Prepared owned = prepared(handle, file, sql);
  Statement statement(owned.get(), file);
  return statement.step() ? std::string(statement.text(0)) : std::string();
}

void switchToLog(sqlite3* handle, const StoreFile& file) {
  if (journalMode(handle, file, "PRAGMA dbo.journal_mode") == "wal") return;
  if (journalMode(handle, file, "PRAGMA dbo.journal_mode = WAL") != "wal")
    file.fail(E_FAIL,
              u"the file system cannot hold the store: it needs shared memory files. Use a local disk.");
}

// An older library that has the store open would go on by its own rules: leaving the log needs the store for
// this process alone.
void leaveLog(sqlite3* handle, const StoreFile& file) {
  try {
    if (journalMode(handle, file, "PRAGMA dbo.journal_mode = DELETE") == "delete") return;
  } catch (const Error& error) {
    if (error.number() != StoreError::timeoutExpired) throw;
  }
  file.fail(E_FAIL,
            u"the file was made by an older library and must be brought up to date, but other processes have "
            u"it open. End them first; nothing was changed.");
}

void migrate(sqlite3* handle, const StoreFile& file, std::span<const std::string_view> migrations,
             std::int64_t found) {
  run(handle, file, "PRAGMA dbo.synchronous = FULL; BEGIN IMMEDIATE", "bringing the schema up to date");
  try {
    for (; found < std::ssize(migrations); ++found)
      run(handle, file, std::string(migrations[static_cast<std::size_t>(found)]),
          "bringing the schema up to date");
    run(handle, file,
        "PRAGMA dbo.user_version = " + std::to_string(found) + "; COMMIT; PRAGMA dbo.synchronous = NORMAL",
        "bringing the schema up to date");
  } catch (...) {
    sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

// So that free pages can be given back. Rewriting a large store takes long and needs as much room again: it
// stays as it is, and its free pages are used for new documents.
void makeShrinkable(sqlite3* handle, const StoreFile& file) noexcept {
  constexpr std::int64_t large = 1 << 30;
  const FileState state = FileState::ifThere(file.path);
  if (!state.isThere() || state.size > large) return;
  sqlite3_exec(handle, "PRAGMA dbo.auto_vacuum = INCREMENTAL; VACUUM dbo", nullptr, nullptr, nullptr);
}

}  // namespace

std::int64_t numberOf(sqlite3* handle, const StoreFile& file, const char* sql) {
  const Prepared owned = prepared(handle, file, sql);
  Statement statement(owned.get(), file);
  return statement.step() ? statement.integer(0) : 0;
}

void run(sqlite3* handle, const StoreFile& file, const std::string& sql, const char* tried) {
  if (const int code = sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr); code != SQLITE_OK)
    file.failFor(handle, code, tried);
}

void bringUpToDate(sqlite3* handle, const StoreFile& file, std::span<const std::string_view> migrations,
                   Opener opener) {
  const auto wanted = static_cast<std::int64_t>(migrations.size());
  const std::int64_t found = numberOf(handle, file, "PRAGMA dbo.user_version");
  if (found > wanted)
    file.fail(E_FAIL, u"the file has schema version " + decimal(found) + u", and this library knows " +
                          decimal(wanted) + u". Install the newer library.");
  if (found < wanted && opener != Opener::First)
    file.fail(E_FAIL,
              u"the file has schema version " + decimal(found) + u", and this library needs " +
                  decimal(wanted) +
                  (opener == Opener::Reader
                       ? u". Let its owner open it once."
                       : u". It has been put in place while processes were at work: end them all first."));
  if (opener != Opener::First) return;
  if (found == 0) {
    if (numberOf(handle, file, "SELECT count(*) FROM dbo.sqlite_schema") != 0)
      file.fail(E_FAIL, u"the file is a database of some other program. Move it away.");
    run(handle, file, "PRAGMA dbo.auto_vacuum = INCREMENTAL", "preparing the file");
  } else if (found < wanted) {
    leaveLog(handle, file);
  }
  if (found < wanted) migrate(handle, file, migrations, found);
  if (found > 0 && found < wanted) makeShrinkable(handle, file);
  switchToLog(handle, file);
}

}  // namespace CorvaneQueue::platform_layer
