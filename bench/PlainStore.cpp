#include "PlainStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

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

void bindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
  sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

}  // namespace

PlainStore::PlainStore(const std::filesystem::path& file) {
  require(
      sqlite3_open_v2(":memory:", &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                      nullptr) == SQLITE_OK,
      "opening");
  sqlite3_create_collation(handle_, "QUEUE_NAME", SQLITE_UTF8, nullptr, compareNames);
  sqlite3_busy_timeout(handle_, 30000);
  sqlite3_stmt* attach = prepare("ATTACH DATABASE ?1 AS dbo");
  const std::string path = file.string();
  bindText(attach, 1, path);
  run(attach);
  sqlite3_finalize(attach);
  sqlite3_exec(handle_, "PRAGMA dbo.synchronous = NORMAL; PRAGMA dbo.secure_delete = OFF", nullptr, nullptr,
               nullptr);
  int keep = 1;
  sqlite3_file_control(handle_, "dbo", SQLITE_FCNTL_PERSIST_WAL, &keep);
  sqlite3_wal_autocheckpoint(handle_, 2000);
  lock_ = open((path + "-lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  begin_ = prepare("BEGIN IMMEDIATE");
  commit_ = prepare("COMMIT");
  register_ = prepare(
      "INSERT INTO dbo.mdqMessageType (Name, Queue) SELECT ?1, ?2"
      " WHERE NOT EXISTS (SELECT 1 FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2)");
  insert_ = prepare(
      "INSERT INTO dbo.mdqDocument (MessageID, MessageTypeID, CreateTimestamp, Description, Body) VALUES ("
      "max((SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument), (SELECT MessageID FROM "
      "dbo.mdqHighest)) + 1,"
      " (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2), ?4, ?3, ?5)");
  wait_ = prepare(
      "INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) VALUES ("
      "(SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2), last_insert_rowid())");
  const char* list =
      "SELECT w.MessageID, d.Description, d.CreateTimestamp, t.Name, d.Body"
      " FROM dbo.mdqMessageType t CROSS JOIN dbo.mdqWaiting w ON w.MessageTypeID = t.MessageTypeID"
      " CROSS JOIN dbo.mdqDocument d ON d.MessageID = w.MessageID"
      " WHERE t.Name = 'idoc' AND t.Queue = ?1 ORDER BY w.MessageID LIMIT ?2";
  first_ = prepare(list);
  all_ = prepare(list);
  find_ = prepare("SELECT 1 FROM dbo.mdqDocument WHERE MessageID = ?1");
  acknowledge_ = prepare(
      "INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID)"
      " SELECT MessageTypeID, MessageID FROM dbo.mdqDocument WHERE MessageID = ?1 ON CONFLICT DO NOTHING");
  take_ = prepare(
      "DELETE FROM dbo.mdqWaiting WHERE MessageID = ?1"
      " AND MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqDocument WHERE MessageID = ?1)");
}

PlainStore::~PlainStore() {
  for (auto* statement :
       {begin_, commit_, register_, insert_, wait_, first_, find_, acknowledge_, take_, all_})
    sqlite3_finalize(statement);
  sqlite3_close(handle_);
  close(lock_);
}

sqlite3_stmt* PlainStore::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
  return statement;
}

void PlainStore::run(sqlite3_stmt* statement) {
  while (sqlite3_step(statement) == SQLITE_ROW) {
  }
  require(sqlite3_reset(statement) == SQLITE_OK, sqlite3_errmsg(handle_));
}

void PlainStore::begin() {
  flock(lock_, LOCK_EX);
  run(begin_);
}

void PlainStore::commit() {
  run(commit_);
  flock(lock_, LOCK_UN);
  sqlite3_file* log = nullptr;
  sqlite3_file_control(handle_, "dbo", SQLITE_FCNTL_JOURNAL_POINTER, &log);
  require(log->pMethods->xSync(log, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY) == SQLITE_OK, "syncing");
}

void PlainStore::send(const std::string& queue, const std::string& body) {
  char time[32];
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &utc);
  static const std::string type = "idoc";
  bindText(register_, 1, type);
  bindText(register_, 2, queue);
  run(register_);
  bindText(insert_, 1, type);
  bindText(insert_, 2, queue);
  sqlite3_bind_text(insert_, 3, "", 0, SQLITE_STATIC);
  sqlite3_bind_text(insert_, 4, time, -1, SQLITE_STATIC);
  bindText(insert_, 5, body);
  run(insert_);
  bindText(wait_, 1, type);
  bindText(wait_, 2, queue);
  run(wait_);
}

std::int64_t PlainStore::receive(const std::string& queue, std::string& body) {
  bindText(first_, 1, queue);
  sqlite3_bind_int(first_, 2, 1);
  std::int64_t identifier = 0;
  if (sqlite3_step(first_) == SQLITE_ROW) {
    identifier = sqlite3_column_int64(first_, 0);
    body.assign(reinterpret_cast<const char*>(sqlite3_column_text(first_, 4)),
                static_cast<std::size_t>(sqlite3_column_bytes(first_, 4)));
  }
  sqlite3_reset(first_);
  return identifier;
}

void PlainStore::acknowledge(std::int64_t identifier) {
  sqlite3_bind_int64(find_, 1, identifier);
  run(find_);
  sqlite3_bind_int64(acknowledge_, 1, identifier);
  run(acknowledge_);
  sqlite3_bind_int64(take_, 1, identifier);
  run(take_);
}

std::size_t PlainStore::readAll(const std::string& queue) {
  struct Row {
    std::int64_t identifier;
    std::string text[4];
  };
  std::vector<Row> rows;
  bindText(all_, 1, queue);
  sqlite3_bind_int(all_, 2, -1);
  while (sqlite3_step(all_) == SQLITE_ROW) {
    Row& row = rows.emplace_back();
    row.identifier = sqlite3_column_int64(all_, 0);
    for (int i = 0; i < 4; ++i)
      row.text[i].assign(reinterpret_cast<const char*>(sqlite3_column_text(all_, i + 1)),
                         static_cast<std::size_t>(sqlite3_column_bytes(all_, i + 1)));
  }
  sqlite3_reset(all_);
  std::size_t bytes = 0;
  for (const Row& row : rows) bytes += row.text[3].size();
  return bytes;
}
