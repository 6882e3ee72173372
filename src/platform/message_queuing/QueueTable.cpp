#include "QueueTable.h"

#include "StoredText.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr const char* queueColumns =
    "SELECT queueId, kind, name, isTransactional, isWorldReadable, keepsJournal, quota, journalQuota,"
    " messages, bytes, journalMessages, journalBytes, lastSent, lastTaken FROM dbo.mqQueue";
std::optional<std::int64_t> numberIn(const Statement& row, int column) {
  return row.type(column) == Statement::Type::Null ? std::nullopt : std::optional(row.integer(column));
}
QueueRecord queueIn(const Statement& row) {
  QueueRecord queue;
  queue.id = row.integer(0);
  queue.address.kind = row.integer(1) == 0 ? QueueKind::Public : QueueKind::Private;
  queue.address.name = fromStored(row.text(2)).view();
  queue.isTransactional = row.integer(3) != 0;
  queue.isWorldReadable = row.integer(4) != 0;
  queue.keepsJournal = row.integer(5) != 0;
  queue.quota = static_cast<std::int32_t>(row.integer(6));
  queue.journalQuota = static_cast<std::int32_t>(row.integer(7));
  queue.messages = row.integer(8);
  queue.bytes = row.integer(9);
  queue.journalMessages = row.integer(10);
  queue.journalBytes = row.integer(11);
  queue.lastSent = numberIn(row, 12);
  queue.lastTaken = numberIn(row, 13);
  return queue;
}
}  // namespace

std::optional<QueueRecord> QueueTable::find(const QueueAddress& address) {
  const std::string name = toStored(address.name);
  Statement row = database_.rows(std::string(queueColumns) + " WHERE kind = ?1 AND name = ?2",
                                 static_cast<std::int64_t>(address.kind), name);
  return row.step() ? std::optional(queueIn(row)) : std::nullopt;
}

std::optional<QueueRecord> QueueTable::find(std::int64_t queue) {
  Statement row = database_.rows(std::string(queueColumns) + " WHERE queueId = ?1", queue);
  return row.step() ? std::optional(queueIn(row)) : std::nullopt;
}

std::vector<QueueRecord> QueueTable::all() {
  std::vector<QueueRecord> queues;
  Statement row = database_.prepare(std::string(queueColumns) + " ORDER BY queueId");
  while (row.step()) queues.push_back(queueIn(row));
  return queues;
}

std::int64_t QueueTable::create(const QueueRecord& queue) {
  if (find(queue.address))
    queuingFailed(MQ_ERROR_QUEUE_EXISTS, u"The queue " + shownName(queue.address) + u" exists already.");
  const std::string name = toStored(queue.address.name);
  database_.execute(
      "INSERT INTO dbo.mqQueue"
      " (kind, name, isTransactional, isWorldReadable, keepsJournal, quota, journalQuota)"
      " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
      static_cast<std::int64_t>(queue.address.kind), name, queue.isTransactional, queue.isWorldReadable,
      queue.keepsJournal, queue.quota, queue.journalQuota);
  const std::int64_t id = find(queue.address)->id;
  if (id > Box::lastQueue)
    queuingFailed(MQ_ERROR_INSUFFICIENT_RESOURCES,
                  u"More than a million queues have been created in this installation; nothing was created.");
  return id;
}

void QueueTable::setSettings(const QueueRecord& queue) {
  database_.execute(
      "UPDATE dbo.mqQueue SET keepsJournal = ?2, quota = ?3, journalQuota = ?4 WHERE queueId = ?1", queue.id,
      queue.keepsJournal, queue.quota, queue.journalQuota);
}

void QueueTable::setContent(const QueueRecord& queue) {
  database_.execute(
      "UPDATE dbo.mqQueue SET messages = ?2, bytes = ?3, journalMessages = ?4, journalBytes = ?5,"
      " lastSent = ?6, lastTaken = ?7 WHERE queueId = ?1",
      queue.id, queue.messages, queue.bytes, queue.journalMessages, queue.journalBytes, queue.lastSent,
      queue.lastTaken);
}

}  // namespace CorvaneQueue::platform_layer
