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
constexpr std::int64_t largestBeside = 2048;  // bytes of a body that stands in the row of its message
constexpr int manyMessages = 64;
constexpr std::int64_t manyBytes = 1 << 20;

void mustBeWhole(Box box, const MessageHeader& header, std::span<const std::uint8_t> body) {
  if (checksumOf(box.queue, header, toStored(header.content.label), body) != header.checksum)
    damagedMessage(header.id);
}

std::vector<std::uint8_t> newIdentity() {
  std::random_device random;
  std::vector<std::uint8_t> identity(16);
  for (auto& byte : identity) byte = static_cast<std::uint8_t>(random());
  return identity;
}

}  // namespace

QueueStore::QueueStore(const std::filesystem::path& directory, Database::IfMissing ifMissing)
    : database_(directory / fileName, queueMigrations(), ifMissing), queues_(database_), numbers_(database_) {
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
    numbers_.beginWrite();
    accounts_.begin();
    trimmed_.clear();
    work();
    accounts_.store();
    if (droppedCount_ >= manyMessages || droppedBytes_ >= manyBytes) deleteDroppedBodies();
  });
  accounts_.stored();
  numbers_.stored();
  if (deletedCount_ < manyMessages) return;
  deletedCount_ = 0;
  database_.giveBackSpace();
}

void QueueStore::read(Box box, std::int64_t after, std::size_t count, std::vector<MessageHeader>& headers,
                      Bodies bodies) {
  headers.clear();
  const auto commits = database_.commits();  // before it is read
  if (after >= Box::lastPosition) return;
  Statement row = database_.rows(
      "SELECT key, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum,"
      " body FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2 ORDER BY key LIMIT ?3",
      box.key(after + 1), box.key(Box::lastPosition), static_cast<std::int64_t>(count));
  while (row.step()) {
    MessageHeader& header = headers.emplace_back();
    header.position = Box::positionIn(row.integer(0));
    header.id = row.integer(1);
    header.content.label = fromStored(row.text(2));
    header.content.appSpecific = static_cast<std::int32_t>(row.integer(3));
    header.content.delivery = static_cast<std::int32_t>(row.integer(4));
    header.content.sentTime = row.integer(5);
    header.arrivedTime = row.integer(6);
    header.bodyLength = row.integer(7);
    header.checksum = static_cast<std::uint64_t>(row.integer(8));
    if (bodies == Bodies::Later || !commits || row.type(9) == Statement::Type::Null) continue;
    header.content.body = std::make_shared<const Variant>(Variant::bytes(row.blob(9)));
    header.readAt = commits;
  }
}

bool QueueStore::contains(Box box, std::int64_t from, std::int64_t to) {
  Statement row = database_.rows("SELECT 1 FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2 LIMIT 1",
                                 box.key(from), box.key(to));
  return row.step();
}

std::optional<std::int64_t> QueueStore::firstWithNumber(Box box, std::uint32_t number) {
  // Outside of journals positions are identifiers.
  if (!box.isJournal && contains(box, number, number)) return number;
  Statement row = database_.rows(
      "SELECT key FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2 AND messageId & 4294967295 = ?3 ORDER BY key"
      " LIMIT 1",
      box.key(0), box.key(Box::lastPosition), number);
  return row.step() ? std::optional(Box::positionIn(row.integer(0))) : std::nullopt;
}

std::shared_ptr<const Variant> QueueStore::bodyBeside(Box box, const MessageHeader& header) {
  mustBeWhole(box, header, header.content.bytes());
  return header.content.body;
}

std::shared_ptr<const Variant> QueueStore::body(Box box, const MessageHeader& header) {
  if (header.readAt && header.readAt == database_.commits()) return bodyBeside(box, header);
  Statement row = database_.rows(
      "SELECT CASE WHEN body IS NULL THEN (SELECT body FROM dbo.mqBody b WHERE b.messageId = m.messageId)"
      " ELSE body END FROM dbo.mqMessage m WHERE key = ?1",
      box.key(header.position));
  if (!row.step()) return nullptr;
  const auto bytes = row.blob(0);
  mustBeWhole(box, header, bytes);
  return std::make_shared<const Variant>(Variant::bytes(bytes));
}

void QueueStore::update(const QueueRecord& queue) {
  QueueRecord& account = accountOf(queue.id);
  account.keepsJournal = queue.keepsJournal;
  account.quota = queue.quota;
  account.journalQuota = queue.journalQuota;
  queues_.setSettings(queue);
  trimJournal(account);
}

void QueueStore::remove(std::int64_t queue) {
  deletedCount_ = manyMessages;
  const std::int64_t first = Box{queue, false}.key(0);
  const std::int64_t last = Box{queue, true}.key(Box::lastPosition);
  database_.execute(
      "DELETE FROM dbo.mqBody WHERE messageId IN"
      " (SELECT messageId FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2 AND body IS NULL)",
      first, last);
  database_.execute("DELETE FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2", first, last);
  database_.execute("DELETE FROM dbo.mqSummary WHERE firstKey BETWEEN ?1 AND ?2", first, last);
  database_.execute("DELETE FROM dbo.mqQueue WHERE queueId = ?1", queue);
  accounts_.forget(queue);
}

std::int64_t QueueStore::put(const Outgoing& message) {
  QueueRecord& queue = accountOf(message.queue);
  const auto bytes = message.content.bytes();
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (!queue.fits(size)) overQuota(queue);
  MessageHeader header;
  header.id = numbers_.take();
  header.content = message.content;
  header.arrivedTime = std::time(nullptr);
  const std::string label = toStored(message.content.label);
  const bool isBeside = size <= largestBeside;
  database_.execute(
      "INSERT INTO dbo.mqMessage (key, messageId, label, appSpecific, delivery, sentTime, arrivedTime,"
      " bodyLength, checksum, body) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)",
      Box{queue.id, false}.key(header.id), header.id, label, message.content.appSpecific,
      message.content.delivery, message.content.sentTime, header.arrivedTime, size,
      static_cast<std::int64_t>(checksumOf(queue.id, header, label, bytes)),
      isBeside ? std::optional(bytes) : std::nullopt);
  if (!isBeside)
    database_.execute("INSERT INTO dbo.mqBody (messageId, body) VALUES (?1, ?2)", header.id, bytes);
  queue.count({queue.id, false}, 1, size);
  queue.lastSent = header.arrivedTime;
  return header.id;
}

// A message that was seen and is held is not there: nobody else could take it, but a journal loses its oldest
// ones to its quota.
void QueueStore::mustBeTrimmed(const Taken& message) {
  std::vector<MessageHeader> oldest;
  if (message.box.isJournal) read(message.box, 0, 1, oldest);
  if (!message.box.isJournal || (!oldest.empty() && oldest.front().position <= message.position))
    damagedMessage(message.id);
}

void QueueStore::drop(const Taken& message) {
  QueueRecord& queue = accountOf(message.box.queue);
  Statement row =
      database_.rows("DELETE FROM dbo.mqMessage WHERE key = ?1 RETURNING bodyLength, body IS NOT NULL",
                     message.box.key(message.position));
  if (!row.step()) return mustBeTrimmed(message);
  const std::int64_t size = row.integer(0);
  queue.count(message.box, -1, -size);
  ++deletedCount_;
  if (row.integer(1) != 0) return;
  database_.execute("INSERT INTO dbo.mqDropped (messageId) VALUES (?1) ON CONFLICT DO NOTHING", message.id);
  ++droppedCount_;
  droppedBytes_ += size;
}

void QueueStore::deleteDroppedBodies() {
  database_.execute("DELETE FROM dbo.mqBody WHERE messageId IN (SELECT messageId FROM dbo.mqDropped)");
  database_.execute("DELETE FROM dbo.mqDropped");
  droppedCount_ = 0;
  droppedBytes_ = 0;
  deletedCount_ = manyMessages;
}

bool QueueStore::take(const Taken& message) {
  QueueRecord& queue = accountOf(message.box.queue);
  if (message.box.isJournal) return drop(message), false;
  queue.lastTaken = std::time(nullptr);
  if (!queue.keepsJournal) return drop(message), false;
  moveRow(message, {message.box.queue, true}, numbers_.take(), queue.lastTaken);
  trimJournal(queue);
  return true;
}

void QueueStore::move(const Taken& message, std::int64_t queue, Damaged damaged) {
  std::vector<MessageHeader> found;
  read(message.box, message.position - 1, 1, found);
  if (found.empty() || found.front().position != message.position) damagedMessage(message.id);
  const MessageHeader& header = found.front();
  std::shared_ptr<const Variant> whole;
  try {
    whole = body(message.box, header);
  } catch (const Error& error) {
    if (damaged == Damaged::Refused || error.number() != MQ_ERROR_MESSAGE_STORAGE_FAILED) throw;
  }
  if (const QueueRecord& to = accountOf(queue); !to.fits(header.bodyLength)) overQuota(to);
  moveRow(message, {queue, false}, header.id, std::nullopt);
  auto& lastSent = accountOf(queue).lastSent;
  lastSent = std::max(lastSent, std::optional(header.arrivedTime));
  if (queue == message.box.queue || !whole) return;
  database_.execute("UPDATE dbo.mqMessage SET checksum = ?2 WHERE key = ?1", Box{queue, false}.key(header.id),
                    static_cast<std::int64_t>(
                        checksumOf(queue, header, toStored(header.content.label), bytesOf(whole->get()))));
}

void QueueStore::moveRow(const Taken& message, Box to, std::int64_t position,
                         std::optional<std::int64_t> takenTime) {
  Statement moved =
      database_.rows("UPDATE dbo.mqMessage SET key = ?2, takenTime = ?3 WHERE key = ?1 RETURNING bodyLength",
                     message.box.key(message.position), to.key(position), takenTime);
  if (!moved.step()) damagedMessage(message.id);
  const std::int64_t size = moved.integer(0);
  accountOf(message.box.queue).count(message.box, -1, -size);
  accountOf(to.queue).count(to, 1, size);
}

// The newest stay.
void QueueStore::trimJournal(QueueRecord& queue) {
  if (queue.journalQuota < 0) return;
  const Box journal{queue.id, true};
  std::vector<MessageHeader> oldest;
  while (queue.journalBytes > std::int64_t{queue.journalQuota} * 1024) {
    read(journal, 0, 1, oldest);
    if (oldest.empty()) return;
    drop({journal, oldest.front().position, oldest.front().id});
    if (trimmed_.empty() || trimmed_.back().kind != queue.address.kind ||
        trimmed_.back().name != queue.address.name)
      trimmed_.push_back(queue.address);
  }
}

}  // namespace CorvaneQueue::platform_layer
