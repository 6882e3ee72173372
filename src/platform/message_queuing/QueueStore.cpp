#include "QueueStore.h"

#include "QueueSchema.h"
#include "StoredText.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <chrono>
#include <ctime>
#include <random>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr auto writersWait = std::chrono::seconds(30);

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

}  // namespace

QueueStore::QueueStore(const std::filesystem::path& directory, Database::IfMissing ifMissing)
    : database_(directory / fileName, queueMigrations(), ifMissing), queues_(database_) {
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
      database_.execute("INSERT INTO dbo.mqInstallation VALUES (?1)", fresh);
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
    accounts_.clear();
    trimmed_.clear();
    work();
    finishWrite();
  });
  if (std::exchange(hasDeletedBodies_, false)) database_.giveBackSpace();
}

void QueueStore::finishWrite() {
  for (const auto& [queue, isChanged] : accounts_) {
    if (!isChanged) continue;
    queues_.setBytes(queue);
  }
  constexpr std::int64_t manyBodies = 64;
  constexpr std::int64_t manyBytes = 1 << 20;
  if (droppedCount_ >= manyBodies || droppedBytes_ >= manyBytes) deleteDroppedBodies();
  if (!isCounterBehind_) return;  // else there are numbers that no stored body remembers
  database_.execute("UPDATE dbo.mqCounter SET value = max(value, ?1)", *highest_);
}

void QueueStore::read(Box box, std::int64_t after, std::size_t count, std::vector<MessageHeader>& headers) {
  headers.clear();
  Statement row = database_.rows(
      "SELECT position, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum"
      " FROM dbo.mqHeader WHERE box = ?1 AND position > ?2 ORDER BY position LIMIT ?3",
      box.number(), after, static_cast<std::int64_t>(count));
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
      database_.rows("SELECT 1 FROM dbo.mqHeader WHERE box = ?1 AND position BETWEEN ?2 AND ?3 LIMIT 1",
                     box.number(), from, to);
  return row.step();
}

std::optional<std::int64_t> QueueStore::firstWithNumber(Box box, std::uint32_t number) {
  // Outside of journals positions are identifiers.
  if (!box.isJournal && contains(box, number, number)) return number;
  Statement row = database_.rows(
      "SELECT position FROM dbo.mqHeader WHERE box = ?1 AND messageId & 4294967295 = ?2 ORDER BY position"
      " LIMIT 1",
      box.number(), number);
  return row.step() ? std::optional(row.integer(0)) : std::nullopt;
}

std::shared_ptr<const Variant> QueueStore::body(Box box, const MessageHeader& header) {
  Statement row = database_.rows(
      "SELECT (SELECT body FROM dbo.mqBody WHERE messageId = ?1) FROM dbo.mqHeader"
      " WHERE box = ?2 AND position = ?3",
      header.id, box.number(), header.position);
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
    for (const QueueRecord& queue : queues_.all())
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

void QueueStore::update(const QueueRecord& queue) {
  Account& account = accountOf(queue.id);
  account.queue.bytes = bytesIn({queue.id, false});
  account.queue.journalBytes = bytesIn({queue.id, true});
  account.queue.keepsJournal = queue.keepsJournal;
  account.queue.quota = queue.quota;
  account.queue.journalQuota = queue.journalQuota;
  account.isChanged = true;
  queues_.setSettings(queue);
  trimJournal(account);
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
    database_.execute(sql, queue);
  }
}

QueueStore::Account& QueueStore::accountOf(std::int64_t queue) {
  for (Account& account : accounts_)
    if (account.queue.id == queue) return account;
  const auto found = queues_.find(queue);
  if (!found)
    queuingFailed(MQ_ERROR_QUEUE_DELETED,
                  u"The queue has been deleted; nothing was stored. Close its handles.");
  return accounts_.emplace_back(Account{*found});
}

std::int64_t QueueStore::bytesIn(Box box) {
  Statement row =
      database_.rows("SELECT coalesce(sum(bodyLength), 0) FROM dbo.mqHeader WHERE box = ?1", box.number());
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
  Account& account = accountOf(message.queue);
  const QueueRecord& queue = account.queue;
  const auto bytes = message.content.bytes();
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (!queue.fits(size)) overQuota(queue);
  MessageHeader header;
  header.id = nextNumber();
  header.content = message.content;
  header.arrivedTime = std::time(nullptr);
  database_.execute("INSERT INTO dbo.mqBody (messageId, body) VALUES (?1, ?2)", header.id, bytes);
  const std::string label = toStored(message.content.label);
  database_.execute(
      "INSERT INTO dbo.mqHeader (box, position, messageId, label, appSpecific, delivery, sentTime, "
      "arrivedTime,"
      " bodyLength, checksum) VALUES (?1, ?2, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)",
      Box{queue.id, false}.number(), header.id, label, message.content.appSpecific, message.content.delivery,
      message.content.sentTime, header.arrivedTime, size,
      static_cast<std::int64_t>(checksumOf(queue.id, header, bytes)));
  highest_ = header.id;
  if (queue.quota < 0) return;
  account.queue.bytes += size;
  account.isChanged = true;
}

std::int64_t QueueStore::drop(const Taken& message) {
  std::int64_t size = 0;
  Statement header =
      database_.rows("DELETE FROM dbo.mqHeader WHERE box = ?1 AND position = ?2 RETURNING bodyLength",
                     message.box.number(), message.position);
  while (header.step()) size = header.integer(0);
  database_.execute("INSERT INTO dbo.mqDropped (messageId) VALUES (?1) ON CONFLICT DO NOTHING", message.id);
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
  Account& account = accountOf(message.box.queue);
  std::int64_t size = 0;
  if (message.box.isJournal) {
    size = drop(message);
    if (account.queue.journalQuota < 0) return false;
    account.queue.journalBytes -= size;
    account.isChanged = true;
    return false;
  }
  if (account.queue.keepsJournal) {
    highest_ = nextNumber();
    isCounterBehind_ = true;
    Statement move = database_.rows(
        "UPDATE dbo.mqHeader SET box = box + 1, position = ?3 WHERE box = ?1 AND position = ?2"
        " RETURNING bodyLength",
        message.box.number(), message.position, *highest_);
    while (move.step()) size = move.integer(0);
    account.queue.journalBytes += size;
  } else {
    size = drop(message);
  }
  account.queue.bytes -= size;
  account.isChanged = account.isChanged || account.queue.quota >= 0 || account.queue.journalQuota >= 0;
  trimJournal(account);
  return account.queue.keepsJournal;
}

// The newest stay.
void QueueStore::trimJournal(Account& account) {
  const QueueRecord& queue = account.queue;
  if (queue.journalQuota < 0) return;
  const Box journal{queue.id, true};
  std::vector<MessageHeader> oldest;
  while (queue.journalBytes > std::int64_t{queue.journalQuota} * 1024) {
    read(journal, 0, 1, oldest);
    if (oldest.empty()) return;
    account.queue.journalBytes -= drop({journal, oldest.front().position, oldest.front().id});
    account.isChanged = true;
    if (trimmed_.empty() || trimmed_.back().kind != queue.address.kind ||
        trimmed_.back().name != queue.address.name)
      trimmed_.push_back(queue.address);
  }
}

}  // namespace CorvaneQueue::platform_layer
