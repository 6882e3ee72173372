#include "PlainFile.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "plain store: %s failed\n", what);
  std::exit(1);
}

int compareNames(void*, int leftSize, const void* left, int rightSize, const void* right) {
  const int common = strncasecmp(static_cast<const char*>(left), static_cast<const char*>(right),
                                 static_cast<std::size_t>(leftSize < rightSize ? leftSize : rightSize));
  return common != 0 ? common : leftSize - rightSize;
}

}  // namespace

PlainFile::PlainFile(const std::filesystem::path& file) {
  require(
      sqlite3_open_v2(":memory:", &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                      nullptr) == SQLITE_OK,
      "opening");
  sqlite3_create_collation(handle_, "QUEUE_NAME", SQLITE_UTF8, nullptr, compareNames);
  // Of the schema: the plain program makes no summaries.
  sqlite3_create_function(
      handle_, "labelSigns", 2, SQLITE_UTF8 | SQLITE_INNOCUOUS, nullptr, nullptr,
      [](sqlite3_context*, int, sqlite3_value**) {},
      [](sqlite3_context* context) { sqlite3_result_zeroblob(context, 0); });
  sqlite3_busy_timeout(handle_, 30000);
  sqlite3_stmt* attach = prepare("ATTACH DATABASE ?1 AS dbo");
  const std::string path = file.string();
  bindText(attach, 1, path);
  run(attach);
  sqlite3_exec(handle_, "PRAGMA dbo.synchronous = NORMAL; PRAGMA dbo.secure_delete = OFF", nullptr, nullptr,
               nullptr);
  int keep = 1;
  sqlite3_file_control(handle_, "dbo", SQLITE_FCNTL_PERSIST_WAL, &keep);
  sqlite3_wal_autocheckpoint(handle_, 2000);
  lock_ = open((path + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  begin_ = prepare("BEGIN IMMEDIATE");
  commit_ = prepare("COMMIT");
}

PlainFile::~PlainFile() {
  for (sqlite3_stmt* statement : prepared_) sqlite3_finalize(statement);
  sqlite3_close(handle_);
  close(lock_);
}

sqlite3_stmt* PlainFile::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
  prepared_.push_back(statement);
  return statement;
}

void PlainFile::run(sqlite3_stmt* statement) {
  while (sqlite3_step(statement) == SQLITE_ROW) {
  }
  require(sqlite3_reset(statement) == SQLITE_OK, sqlite3_errmsg(handle_));
}

void PlainFile::begin() {
  flock(lock_, LOCK_EX);
  run(begin_);
}

void PlainFile::commit() {
  run(commit_);
  flock(lock_, LOCK_UN);
  sqlite3_file* log = nullptr;
  sqlite3_file_control(handle_, "dbo", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  require(log->pMethods->xSync(log, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY) == SQLITE_OK, "syncing");
}
