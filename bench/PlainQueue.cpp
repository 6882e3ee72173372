#include "PlainQueue.h"

#include <ctime>

PlainQueue::PlainQueue(const std::filesystem::path& file, Counts counts) : PlainFile(file), counts_(counts) {
  number_ = prepare("SELECT coalesce(max(key), ?1) + 1 FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2");
  put_ = prepare(
      "INSERT INTO dbo.mqMessage (key, messageId, label, appSpecific, delivery, sentTime, arrivedTime,"
      " bodyLength, checksum, body) VALUES (?1, ?1, '', 0, 1, ?2, ?2, ?3, 0, ?4)");
  putApart_ = prepare("INSERT INTO dbo.mqBody (messageId, body) VALUES (?1, ?2)");
  first_ = prepare(
      "SELECT key, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum, body"
      " FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2 ORDER BY key LIMIT 1");
  readApart_ = prepare("SELECT body FROM dbo.mqBody WHERE messageId = ?1");
  drop_ = prepare("DELETE FROM dbo.mqMessage WHERE key = ?1");
  dropApart_ = prepare("DELETE FROM dbo.mqBody WHERE messageId = ?1");
  count_ = prepare(
      "UPDATE dbo.mqQueue SET messages = messages + ?2, bytes = bytes + ?3, lastSent = ?4 WHERE queueId = ?1");
}

void PlainQueue::count(std::int64_t box, std::int64_t messages, std::size_t size) {
  if (counts_ == Counts::No) return;
  sqlite3_bind_int64(count_, 1, box / 2);
  sqlite3_bind_int64(count_, 2, messages);
  sqlite3_bind_int64(count_, 3, messages * static_cast<std::int64_t>(size));
  sqlite3_bind_int64(count_, 4, std::time(nullptr));
  run(count_);
}

namespace {
constexpr std::size_t largestBeside = 2048;
// The keys of a box.
void bindBox(sqlite3_stmt* statement, std::int64_t box) {
  sqlite3_bind_int64(statement, 1, box << 42);
  sqlite3_bind_int64(statement, 2, (box + 1) << 42);
}
}  // namespace

void PlainQueue::send(std::int64_t box, const std::string& body) {
  count(box, 1, body.size());
  bindBox(number_, box);
  sqlite3_step(number_);
  const std::int64_t key = sqlite3_column_int64(number_, 0);
  sqlite3_reset(number_);
  sqlite3_bind_int64(put_, 1, key);
  sqlite3_bind_int64(put_, 2, std::time(nullptr));
  sqlite3_bind_int64(put_, 3, static_cast<std::int64_t>(body.size()));
  if (body.size() <= largestBeside) {
    sqlite3_bind_blob64(put_, 4, body.data(), body.size(), SQLITE_STATIC);
    return run(put_);
  }
  sqlite3_bind_null(put_, 4);
  run(put_);
  sqlite3_bind_int64(putApart_, 1, key);
  sqlite3_bind_blob64(putApart_, 2, body.data(), body.size(), SQLITE_STATIC);
  run(putApart_);
}

std::int64_t PlainQueue::receive(std::int64_t box, std::string& body) {
  const auto take = [&](sqlite3_stmt* statement, int column) {
    body.assign(static_cast<const char*>(sqlite3_column_blob(statement, column)),
                static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  };
  bindBox(first_, box);
  std::int64_t key = 0;
  bool isApart = false;
  if (sqlite3_step(first_) == SQLITE_ROW) {
    key = sqlite3_column_int64(first_, 0);
    isApart = sqlite3_column_type(first_, 9) == SQLITE_NULL;
    if (!isApart) take(first_, 9);
  }
  sqlite3_reset(first_);
  if (!isApart) return key;
  sqlite3_bind_int64(readApart_, 1, key);
  if (sqlite3_step(readApart_) == SQLITE_ROW) take(readApart_, 0);
  sqlite3_reset(readApart_);
  return key;
}

void PlainQueue::remove(std::int64_t key, std::size_t size) {
  count(key >> 42, -1, size);
  sqlite3_bind_int64(drop_, 1, key);
  run(drop_);
  if (size <= largestBeside) return;
  sqlite3_bind_int64(dropApart_, 1, key);
  run(dropApart_);
}
