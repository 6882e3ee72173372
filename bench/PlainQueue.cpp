#include "PlainQueue.h"

#include <ctime>

PlainQueue::PlainQueue(const std::filesystem::path& file) : PlainFile(file) {
  number_ = prepare(
      "SELECT max((SELECT coalesce(max(messageId), 0) FROM dbo.mqBody), (SELECT value FROM dbo.mqCounter)) + "
      "1");
  body_ = prepare("INSERT INTO dbo.mqBody (messageId, body) VALUES (?1, ?2)");
  header_ = prepare(
      "INSERT INTO dbo.mqHeader (box, position, messageId, label, appSpecific, delivery, sentTime, "
      "arrivedTime,"
      " bodyLength, checksum) VALUES (?1, ?2, ?2, '', 0, 1, ?3, ?3, ?4, 0)");
  first_ = prepare(
      "SELECT position, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum"
      " FROM dbo.mqHeader WHERE box = ?1 AND position > 0 ORDER BY position LIMIT 1");
  read_ = prepare("SELECT body FROM dbo.mqBody WHERE messageId = ?1");
  dropHeader_ = prepare("DELETE FROM dbo.mqHeader WHERE box = ?1 AND position = ?2");
  dropBody_ = prepare("DELETE FROM dbo.mqBody WHERE messageId = ?1");
}

void PlainQueue::send(std::int64_t box, const std::string& body) {
  sqlite3_step(number_);
  const std::int64_t number = sqlite3_column_int64(number_, 0);
  sqlite3_reset(number_);
  sqlite3_bind_int64(body_, 1, number);
  sqlite3_bind_blob64(body_, 2, body.data(), body.size(), SQLITE_STATIC);
  run(body_);
  sqlite3_bind_int64(header_, 1, box);
  sqlite3_bind_int64(header_, 2, number);
  sqlite3_bind_int64(header_, 3, std::time(nullptr));
  sqlite3_bind_int64(header_, 4, static_cast<std::int64_t>(body.size()));
  run(header_);
}

std::int64_t PlainQueue::receive(std::int64_t box, std::string& body) {
  sqlite3_bind_int64(first_, 1, box);
  std::int64_t number = 0;
  if (sqlite3_step(first_) == SQLITE_ROW) number = sqlite3_column_int64(first_, 1);
  sqlite3_reset(first_);
  if (number == 0) return 0;
  sqlite3_bind_int64(read_, 1, number);
  if (sqlite3_step(read_) == SQLITE_ROW)
    body.assign(static_cast<const char*>(sqlite3_column_blob(read_, 0)),
                static_cast<std::size_t>(sqlite3_column_bytes(read_, 0)));
  sqlite3_reset(read_);
  return number;
}

void PlainQueue::remove(std::int64_t box, std::int64_t identifier) {
  sqlite3_bind_int64(dropHeader_, 1, box);
  sqlite3_bind_int64(dropHeader_, 2, identifier);
  run(dropHeader_);
  sqlite3_bind_int64(dropBody_, 1, identifier);
  run(dropBody_);
}
