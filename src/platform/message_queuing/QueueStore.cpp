#include "QueueStore.h"

#include "Text.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <random>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue::platform_layer {

namespace {

// The body stands apart, so that browsing and journals do not touch it; the bodies of messages that are
// gone are deleted many at a time, which is much less to write and sync: until then mqDropped names them.
// A box is a queue times two, plus one for its journal. Numbers of messages and positions never repeat,
// also when the newest message is gone: mqCounter remembers those that no stored body remembers.
constexpr std::string_view migrations[] = {
    R"sql(
CREATE TABLE dbo.mqInstallation (identity BLOB NOT NULL);
CREATE TABLE dbo.mqQueue (
  queueId         INTEGER PRIMARY KEY AUTOINCREMENT,
  kind            INTEGER NOT NULL CHECK (kind IN (0, 1)),
  name            TEXT NOT NULL COLLATE QUEUE_NAME,
  isTransactional INTEGER NOT NULL,
  isWorldReadable INTEGER NOT NULL,
  keepsJournal    INTEGER NOT NULL,
  quota           INTEGER NOT NULL,
  journalQuota    INTEGER NOT NULL,
  bytes           INTEGER NOT NULL DEFAULT 0,
  journalBytes    INTEGER NOT NULL DEFAULT 0,
  UNIQUE (kind, name)
);
CREATE TABLE dbo.mqHeader (
  box         INTEGER NOT NULL,
  position    INTEGER NOT NULL,
  messageId   INTEGER NOT NULL,
  label       TEXT NOT NULL,
  appSpecific INTEGER NOT NULL,
  delivery    INTEGER NOT NULL,
  sentTime    INTEGER NOT NULL,
  arrivedTime INTEGER NOT NULL,
  bodyLength  INTEGER NOT NULL,
  checksum    INTEGER NOT NULL,
  PRIMARY KEY (box, position)
) WITHOUT ROWID;
CREATE TABLE dbo.mqBody (
  messageId INTEGER PRIMARY KEY,
  body      BLOB NOT NULL
);
CREATE TABLE dbo.mqDropped (messageId INTEGER PRIMARY KEY);
CREATE TABLE dbo.mqCounter (value INTEGER NOT NULL);
INSERT INTO dbo.mqCounter VALUES (0);
)sql",
    // Nothing changes but the rules by which processes take turns and sync.
    "",
};

constexpr auto writersWait = std::chrono::seconds(30);

// Over everything that must come out as it went in, and what it belongs to.
std::uint64_t checksumOf(std::int64_t queue, const MessageHeader& header,
                         std::span<const std::uint8_t> body) {
  const std::string label = toStored(header.content.label);
  const std::int64_t numbers[] = {queue,
                                  header.id,
                                  header.content.appSpecific,
                                  header.content.delivery,
                                  header.content.sentTime,
                                  header.arrivedTime,
                                  static_cast<std::int64_t>(body.size())};
  const std::uint64_t ofNumbers = XXH3_64bits(numbers, sizeof numbers);
  const std::uint64_t ofLabel = XXH3_64bits_withSeed(label.data(), label.size(), ofNumbers);
  return XXH3_64bits_withSeed(body.data(), body.size(), ofLabel);
}

[[noreturn]] void damaged(std::int64_t id) {
  queuingFailed(MQ_ERROR_MESSAGE_STORAGE_FAILED,
                u"The stored message " + decimal(id) +
                    u" is damaged: it is not what was sent, and is not handed out. Restore the store from a "
                    u"copy, or purge the queue.");
}

std::vector<std::uint8_t> newIdentity() {
  std::random_device random;
  std::vector<std::uint8_t> identity(16);
  for (auto& byte : identity) byte = static_cast<std::uint8_t>(random());
  return identity;
}

constexpr const char* queueColumns =
    "SELECT queueId, kind, name, isTransactional, isWorldReadable, keepsJournal, quota, journalQuota,"
    " bytes, journalBytes FROM dbo.mqQueue";
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
  queue.bytes = row.integer(8);
  queue.journalBytes = row.integer(9);
  return queue;
}

}  // namespace

void overQuota(const QueueRecord& queue) {
  queuingFailed(MQ_ERROR_INSUFFICIENT_RESOURCES,
                u"The queue " + shownName(queue.address) + u" has reached its quota of " +
                    decimal(queue.quota) + u" kilobytes; nothing was sent. Receive or purge messages.");
}

QueueStore::QueueStore(const std::filesystem::path& directory, Database::IfMissing ifMissing)
    : database_(directory / fileName, migrations, ifMissing) {
  const auto stored = [&] {
    Statement row = database_.prepare("SELECT identity FROM dbo.mqInstallation");
    if (!row.step()) return false;
    const auto bytes = row.blob(0);
    identity_.assign(bytes.begin(), bytes.end());
    return true;
  };
  if (!stored() && !database_.isStandIn())
    write(Database::Purpose::Stores, [&] {
      if (stored()) return;  // another process was faster
      const auto fresh = newIdentity();
      Statement insert = database_.prepare("INSERT INTO dbo.mqInstallation VALUES (?1)");
      insert.bindBlob(1, fresh);
      insert.step();
      identity_ = fresh;
    });
  identity_.resize(16);
  Statement dropped = database_.prepare("SELECT count(*) FROM dbo.mqDropped");
  dropped.step();
  droppedCount_ = dropped.integer(0);
}

void QueueStore::write(Database::Purpose purpose, const std::function<void()>& work) {
  database_.write(purpose, writersWait, [&] {
    highest_.reset();
    isCounterBehind_ = false;
    met_.clear();
    trimmed_.clear();
    work();
    finishWrite();
  });
  if (std::exchange(hasDeletedBodies_, false)) database_.giveBackSpace();
}

void QueueStore::finishWrite() {
  for (const auto& [queue, isChanged] : met_) {
    if (!isChanged) continue;
    Statement change =
        database_.prepare("UPDATE dbo.mqQueue SET bytes = ?2, journalBytes = ?3 WHERE queueId = ?1");
    change.bind(1, queue.id);
    change.bind(2, queue.bytes);
    change.bind(3, queue.journalBytes);
    change.step();
  }
  constexpr std::int64_t manyBodies = 64;
  constexpr std::int64_t manyBytes = 1 << 20;
  if (droppedCount_ >= manyBodies || droppedBytes_ >= manyBytes) deleteDroppedBodies();
  if (!isCounterBehind_) return;  // else there are numbers that no stored body remembers
  Statement counter = database_.prepare("UPDATE dbo.mqCounter SET value = max(value, ?1)");
  counter.bind(1, *highest_);
  counter.step();
}

std::optional<QueueRecord> QueueStore::find(const QueueAddress& address) {
  Statement row = database_.prepare(std::string(queueColumns) + " WHERE kind = ?1 AND name = ?2");
  const std::string name = toStored(address.name);
  row.bind(1, static_cast<std::int64_t>(address.kind));
  row.bindText(2, name);
  return row.step() ? std::optional(queueIn(row)) : std::nullopt;
}

std::optional<QueueRecord> QueueStore::find(std::int64_t queue) {
  Statement row = database_.prepare(std::string(queueColumns) + " WHERE queueId = ?1");
  row.bind(1, queue);
  return row.step() ? std::optional(queueIn(row)) : std::nullopt;
}

std::vector<QueueRecord> QueueStore::all() {
  std::vector<QueueRecord> queues;
  Statement row = database_.prepare(std::string(queueColumns) + " ORDER BY queueId");
  while (row.step()) queues.push_back(queueIn(row));
  return queues;
}

void QueueStore::read(Box box, std::int64_t after, std::size_t count, std::vector<MessageHeader>& headers) {
  headers.clear();
  Statement row = database_.prepare(
      "SELECT position, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum"
      " FROM dbo.mqHeader WHERE box = ?1 AND position > ?2 ORDER BY position LIMIT ?3");
  row.bind(1, box.number());
  row.bind(2, after);
  row.bind(3, static_cast<std::int64_t>(count));
  while (row.step()) {
    MessageHeader& header = headers.emplace_back();
    header.position = row.integer(0);
    header.id = row.integer(1);
    header.content.label = fromStored(row.text(2));
    header.content.appSpecific = static_cast<std::int32_t>(row.integer(3));
    header.content.delivery = static_cast<std::int32_t>(row.integer(4));
    header.content.sentTime = row.integer(5);
    header.arrivedTime = row.integer(6);
    header.bodyLength = row.integer(7);
    header.checksum = static_cast<std::uint64_t>(row.integer(8));
  }
}

bool QueueStore::contains(Box box, std::int64_t from, std::int64_t to) {
  Statement row =
      database_.prepare("SELECT 1 FROM dbo.mqHeader WHERE box = ?1 AND position BETWEEN ?2 AND ?3 LIMIT 1");
  row.bind(1, box.number());
  row.bind(2, from);
  row.bind(3, to);
  return row.step();
}

std::optional<std::int64_t> QueueStore::firstWithNumber(Box box, std::uint32_t number) {
  // Outside of journals positions are identifiers.
  if (!box.isJournal && contains(box, number, number)) return number;
  Statement row = database_.prepare(
      "SELECT position FROM dbo.mqHeader WHERE box = ?1 AND messageId & 4294967295 = ?2 ORDER BY position"
      " LIMIT 1");
  row.bind(1, box.number());
  row.bind(2, number);
  return row.step() ? std::optional(row.integer(0)) : std::nullopt;
}

std::shared_ptr<const Variant> QueueStore::body(Box box, const MessageHeader& header) {
  Statement row = database_.prepare(
      "SELECT (SELECT body FROM dbo.mqBody WHERE messageId = ?1) FROM dbo.mqHeader"
      " WHERE box = ?2 AND position = ?3");
  row.bind(1, header.id);
  row.bind(2, box.number());
  row.bind(3, header.position);
  if (!row.step()) return nullptr;
  const auto bytes = row.blob(0);
  if (checksumOf(box.queue, header, bytes) != header.checksum) damaged(header.id);
  return std::make_shared<const Variant>(Variant::bytes(bytes));
}

StoreReport QueueStore::check(StoreCheck how) {
  StoreReport report = reportOf(database_, how);
  if (how == StoreCheck::Quick) return report;
  try {
    std::vector<MessageHeader> headers;
    for (const QueueRecord& queue : all())
      for (const bool isJournal : {false, true}) {
        const Box box{queue.id, isJournal};
        constexpr std::size_t batch = 64;
        for (std::int64_t after = 0;; after = headers.back().position) {
          read(box, after, batch, headers);
          if (headers.empty()) break;
          report.documents += std::ssize(headers);
          for (const MessageHeader& header : headers) try {
              static_cast<void>(body(box, header));
            } catch (const Error& error) {
              report.findings.push_back(u"In " + shownName(queue.address) + u": " +
                                        std::u16string(error.description().view()));
            }
        }
      }
  } catch (const Error& error) {
    report.findings.push_back(error.description());
  }
  return report;
}

std::int64_t QueueStore::create(const QueueRecord& queue) {
  if (find(queue.address))
    queuingFailed(MQ_ERROR_QUEUE_EXISTS, u"The queue " + shownName(queue.address) + u" exists already.");
  Statement insert = database_.prepare(
      "INSERT INTO dbo.mqQueue"
      " (kind, name, isTransactional, isWorldReadable, keepsJournal, quota, journalQuota)"
      " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  const std::string name = toStored(queue.address.name);
  insert.bind(1, static_cast<std::int64_t>(queue.address.kind));
  insert.bindText(2, name);
  insert.bind(3, queue.isTransactional ? 1 : 0);
  insert.bind(4, queue.isWorldReadable ? 1 : 0);
  insert.bind(5, queue.keepsJournal ? 1 : 0);
  insert.bind(6, queue.quota);
  insert.bind(7, queue.journalQuota);
  insert.step();
  return find(queue.address)->id;
}

void QueueStore::update(const QueueRecord& queue) {
  Met& met = known(queue.id);
  met.queue.bytes = bytesIn({queue.id, false});
  met.queue.journalBytes = bytesIn({queue.id, true});
  met.queue.keepsJournal = queue.keepsJournal;
  met.queue.quota = queue.quota;
  met.queue.journalQuota = queue.journalQuota;
  met.isChanged = true;
  Statement change = database_.prepare(
      "UPDATE dbo.mqQueue SET keepsJournal = ?2, quota = ?3, journalQuota = ?4 WHERE queueId = ?1");
  change.bind(1, queue.id);
  change.bind(2, queue.keepsJournal ? 1 : 0);
  change.bind(3, queue.quota);
  change.bind(4, queue.journalQuota);
  change.step();
  trimJournal(met);
}

void QueueStore::remove(std::int64_t queue) {
  highest_ = nextNumber() - 1;
  isCounterBehind_ = true;
  hasDeletedBodies_ = true;
  for (const char* sql :
       {"DELETE FROM dbo.mqBody WHERE messageId IN (SELECT messageId FROM dbo.mqHeader WHERE box IN (?1 * 2, "
        "?1 * 2 + 1))",
        "DELETE FROM dbo.mqHeader WHERE box IN (?1 * 2, ?1 * 2 + 1)",
        "DELETE FROM dbo.mqQueue WHERE queueId = ?1"}) {
    Statement statement = database_.prepare(sql);
    statement.bind(1, queue);
    statement.step();
  }
}

QueueStore::Met& QueueStore::known(std::int64_t queue) {
  for (Met& met : met_)
    if (met.queue.id == queue) return met;
  const auto found = find(queue);
  if (!found)
    queuingFailed(MQ_ERROR_QUEUE_DELETED,
                  u"The queue has been deleted; nothing was stored. Close its handles.");
  return met_.emplace_back(Met{*found});
}

std::int64_t QueueStore::bytesIn(Box box) {
  Statement row = database_.prepare("SELECT coalesce(sum(bodyLength), 0) FROM dbo.mqHeader WHERE box = ?1");
  row.bind(1, box.number());
  row.step();
  return row.integer(0);
}

// The number after all that were ever given.
std::int64_t QueueStore::nextNumber() {
  if (!highest_) {
    Statement row = database_.prepare(
        "SELECT max((SELECT coalesce(max(messageId), 0) FROM dbo.mqBody), (SELECT value FROM "
        "dbo.mqCounter))");
    row.step();
    highest_ = row.integer(0);
  }
  return *highest_ + 1;
}

void QueueStore::put(const Outgoing& message) {
  Met& met = known(message.queue);
  const QueueRecord& queue = met.queue;
  const auto bytes = message.content.bytes();
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (!queue.fits(size)) overQuota(queue);
  MessageHeader header;
  header.id = nextNumber();
  header.content = message.content;
  header.arrivedTime = std::time(nullptr);
  Statement body = database_.prepare("INSERT INTO dbo.mqBody (messageId, body) VALUES (?1, ?2)");
  body.bind(1, header.id);
  body.bindBlob(2, bytes);
  body.step();
  Statement insert = database_.prepare(
      "INSERT INTO dbo.mqHeader (box, position, messageId, label, appSpecific, delivery, sentTime, "
      "arrivedTime,"
      " bodyLength, checksum) VALUES (?1, ?2, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)");
  const std::string label = toStored(message.content.label);
  insert.bind(1, Box{queue.id, false}.number());
  insert.bind(2, header.id);
  insert.bindText(3, label);
  insert.bind(4, message.content.appSpecific);
  insert.bind(5, message.content.delivery);
  insert.bind(6, message.content.sentTime);
  insert.bind(7, header.arrivedTime);
  insert.bind(8, size);
  insert.bind(9, static_cast<std::int64_t>(checksumOf(queue.id, header, bytes)));
  insert.step();
  highest_ = header.id;
  if (queue.quota < 0) return;
  met.queue.bytes += size;
  met.isChanged = true;
}

std::int64_t QueueStore::drop(const Taken& message) {
  std::int64_t size = 0;
  Statement header =
      database_.prepare("DELETE FROM dbo.mqHeader WHERE box = ?1 AND position = ?2 RETURNING bodyLength");
  header.bind(1, message.box.number());
  header.bind(2, message.position);
  while (header.step()) size = header.integer(0);
  Statement body =
      database_.prepare("INSERT INTO dbo.mqDropped (messageId) VALUES (?1) ON CONFLICT DO NOTHING");
  body.bind(1, message.id);
  body.step();
  ++droppedCount_;
  droppedBytes_ += size;
  return size;
}

void QueueStore::deleteDroppedBodies() {
  highest_ = nextNumber() - 1;  // while they still count
  isCounterBehind_ = true;
  database_.execute("DELETE FROM dbo.mqBody WHERE messageId IN (SELECT messageId FROM dbo.mqDropped)");
  database_.execute("DELETE FROM dbo.mqDropped");
  droppedCount_ = 0;
  droppedBytes_ = 0;
  hasDeletedBodies_ = true;
}

bool QueueStore::take(const Taken& message) {
  Met& met = known(message.box.queue);
  std::int64_t size = 0;
  if (message.box.isJournal) {
    size = drop(message);
    if (met.queue.journalQuota < 0) return false;
    met.queue.journalBytes -= size;
    met.isChanged = true;
    return false;
  }
  if (met.queue.keepsJournal) {
    highest_ = nextNumber();
    isCounterBehind_ = true;
    Statement move = database_.prepare(
        "UPDATE dbo.mqHeader SET box = box + 1, position = ?3 WHERE box = ?1 AND position = ?2"
        " RETURNING bodyLength");
    move.bind(1, message.box.number());
    move.bind(2, message.position);
    move.bind(3, *highest_);
    while (move.step()) size = move.integer(0);
    met.queue.journalBytes += size;
  } else {
    size = drop(message);
  }
  met.queue.bytes -= size;
  met.isChanged = met.isChanged || met.queue.quota >= 0 || met.queue.journalQuota >= 0;
  trimJournal(met);
  return met.queue.keepsJournal;
}

// The newest stay.
void QueueStore::trimJournal(Met& met) {
  const QueueRecord& queue = met.queue;
  if (queue.journalQuota < 0) return;
  const Box journal{queue.id, true};
  std::vector<MessageHeader> oldest;
  while (queue.journalBytes > std::int64_t{queue.journalQuota} * 1024) {
    read(journal, 0, 1, oldest);
    if (oldest.empty()) return;
    met.queue.journalBytes -= drop({journal, oldest.front().position, oldest.front().id});
    met.isChanged = true;
    if (trimmed_.empty() || trimmed_.back().kind != queue.address.kind ||
        trimmed_.back().name != queue.address.name)
      trimmed_.push_back(queue.address);
  }
}

}  // namespace CorvaneQueue::platform_layer
