#include "PlainStore.h"

#include <ctime>

PlainStore::PlainStore(const std::filesystem::path& file) : PlainFile(file) {
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
