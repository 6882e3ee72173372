#include "QueueOperations.h"

#include "RunNotes.h"
#include "StoredText.h"
#include "Summaries.h"

#include <CorvaneQueue/MessageQueuing.h>

#include <set>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr std::int32_t compressedBody = 1;  // of appSpecific
// Positions of waiting messages are their identifiers, of which a row has the lower 32 bits.
constexpr const char* messageWaits =
    "EXISTS (WITH RECURSIVE high (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM high"
    " WHERE n < (SELECT value >> 32 FROM dbo.mqCounter))"
    " SELECT 1 FROM dbo.mqQueue q CROSS JOIN high h CROSS JOIN dbo.mqMessage m"
    " WHERE m.key = (q.queueId << 43) + (h.n << 32) + f.messageId)";
constexpr const char* runTable = "mqRun";
}  // namespace

QueueOperations::QueueOperations() : attempts_("mqFailure", messageWaits, runTable) { look(); }

void QueueOperations::look() {
  if (!QueueService::isStoreThere()) return;  // looking makes none
  service_ = QueueService::current();
  locks_ = service_->newLocks();
}

QueueRecord QueueOperations::recordOf(std::u16string_view queue) {
  const QueueAddress address = parsePathName(queue);
  if (!service_) look();  // others may have made it
  const auto found = service_ ? service_->store().queues().find(address) : std::nullopt;
  if (!found)
    throw Error(ErrorNumber::InvalidArgument, queuingSource, u"There is no queue \"" + address.name + u"\".");
  return *found;
}

std::vector<String> QueueOperations::queues() {
  std::vector<String> names;
  if (!service_) return names;
  for (const QueueRecord& queue : service_->store().queues().all())
    names.push_back(pathNameOf(queue.address));
  return names;
}

QueueContent QueueOperations::content(const String& queue) {
  const QueueRecord record = recordOf(queue);
  QueueContent content;
  content.queue = queue;
  content.waiting = record.messages;
  content.waitingBytes = record.bytes;
  const Box waiting{record.id, false};
  content.held = locks_->countHeldByOthers(waiting.number(), [&](ByteRange range) {
    Statement row =
        service_->store().database().rows("SELECT count(*) FROM dbo.mqMessage WHERE key BETWEEN ?1 AND ?2",
                                          waiting.key(range.from), waiting.key(range.to));
    return row.step() ? row.integer(0) : 0;
  });
  content.acknowledged = record.journalMessages;
  content.acknowledgedBytes = record.journalBytes;
  content.lastSent = record.lastSent;
  content.lastAcknowledged = record.lastTaken;
  content.quota = record.quota;
  content.journalQuota = record.journalQuota;
  std::vector<MessageHeader> first;
  service_->store().read(waiting, 0, 1, first);
  if (!first.empty()) content.oldestWaiting = first.front().content.sentTime;
  return content;
}

#define DOCUMENT                                                                                      \
  "SELECT key, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength, checksum," \
  " takenTime, CASE WHEN NOT ?4 THEN NULL WHEN body IS NOT NULL THEN body"                            \
  " ELSE (SELECT body FROM dbo.mqBody b WHERE b.messageId = m.messageId) END FROM dbo.mqMessage m WHERE "

StoredDocument QueueOperations::documentIn(Box box, const Statement& row, Bodies bodies) {
  StoredDocument document;
  document.position = Box::positionIn(row.integer(0));
  document.id = row.integer(1);
  document.label = fromStored(row.text(2));
  document.isCompressed = row.integer(3) == compressedBody;
  document.sent = row.integer(5);
  document.length = row.integer(7);
  if (row.type(9) != Statement::Type::Null) document.acknowledged = row.integer(9);
  if (bodies == Bodies::Left) return document;
  MessageHeader header;
  header.id = document.id;
  header.content.appSpecific = static_cast<std::int32_t>(row.integer(3));
  header.content.delivery = static_cast<std::int32_t>(row.integer(4));
  header.content.sentTime = document.sent;
  header.arrivedTime = row.integer(6);
  document.isDamaged =
      checksumOf(box.queue, header, row.text(2), row.blob(10)) != static_cast<std::uint64_t>(row.integer(8));
  if (!document.isDamaged) document.body = Variant::bytes(row.blob(10));
  return document;
}

Looked QueueOperations::read(const DocumentList& list, std::int64_t from, Direction direction,
                             std::size_t count, Bodies bodies, std::vector<StoredDocument>& documents,
                             const Sieve& sieve) {
  documents.clear();
  const Box box = boxOf(list);
  const bool isForward = direction == Direction::Forward;
  if (isForward ? from >= Box::lastPosition : from <= 0) return {};
  const Stretch searched =
      isForward ? Stretch{from + 1, Box::lastPosition} : Stretch{0, std::min(from - 1, Box::lastPosition)};
  Database& database = service_->store().database();
  const auto sift = [&](Stretch stretch, std::size_t most) {
    Looked part;
    Statement row =
        database.rows(isForward ? DOCUMENT "key BETWEEN ?1 AND ?2 ORDER BY key LIMIT ?3"
                                : DOCUMENT "key BETWEEN ?1 AND ?2 ORDER BY key DESC LIMIT ?3",
                      box.key(stretch.first), box.key(stretch.last), most, bodies == Bodies::Read);
    while (row.step()) {
      ++part.documents;
      part.position = Box::positionIn(row.integer(0));
      if (sieve.passes(row.text(2), row.integer(5))) documents.push_back(documentIn(box, row, bodies));
    }
    return part;
  };
  if (!sieve.asksForSummaries()) return sift(searched, count);
  constexpr const char* forward =
      "SELECT firstKey & ?3, lastKey & ?3, sentFrom, sentTo, signs FROM dbo.mqSummary"
      " WHERE firstKey BETWEEN coalesce((SELECT max(firstKey) FROM dbo.mqSummary WHERE firstKey <= ?1), ?1)"
      " AND ?2 AND lastKey >= ?1 ORDER BY firstKey";
  constexpr const char* backward =
      "SELECT firstKey & ?3, lastKey & ?3, sentFrom, sentTo, signs FROM dbo.mqSummary"
      " WHERE firstKey <= ?2 AND firstKey >= ?4 AND lastKey >= ?1 ORDER BY firstKey DESC";
  const std::int64_t firstKey = box.key(searched.first);
  const std::int64_t lastKey = box.key(searched.last);
  return siftSummarized(
      {searched, direction,
       isForward ? database.rows(forward, firstKey, lastKey, Box::lastPosition)
                 : database.rows(backward, firstKey, lastKey, Box::lastPosition, box.key(0)),
       sift},
      count, sieve);
}

std::optional<StoredDocument> QueueOperations::find(const DocumentList& list, std::int64_t shown,
                                                    Bodies bodies) {
  const Box box = boxOf(list);
  const auto position = service_->store().firstWithNumber(box, static_cast<std::uint32_t>(shown));
  if (!position || shown > 0xFFFFFFFF) return std::nullopt;
  std::vector<StoredDocument> found;
  read(list, *position - 1, Direction::Forward, 1, bodies, found, {});
  if (found.empty() || found.front().position != *position) return std::nullopt;
  return std::move(found.front());
}

// ---- Changes

void QueueOperations::change(const Taken& message, Fate fate, std::int64_t to) {
  QueueStore& store = service_->store();
  switch (fate) {
    case Fate::Deleted: store.drop(message); break;
    case Fate::Acknowledged: store.take(message); break;
    case Fate::Moved: store.move(message, to); break;
    case Fate::SetAside: store.move(message, to, QueueStore::Damaged::Moved); break;
    case Fate::Copied: {
      std::vector<MessageHeader> found;
      store.read(message.box, message.position - 1, 1, found);
      MessageContent content = found.front().content;
      content.body = store.body(message.box, found.front());
      store.put({to, std::move(content)});
    }
  }
}

Changed QueueOperations::change(const DocumentList& list, std::span<const StoredDocument> documents,
                                Fate fate, const String& to, const RunNote& note) {
  const Box box = boxOf(list);
  const bool isToQueue = fate == Fate::Moved || fate == Fate::SetAside || fate == Fate::Copied;
  const Box target = isToQueue ? Box{recordOf(to).id, false} : Box{box.queue, true};
  // Nobody receives them meanwhile; a copy takes nothing from anybody.
  std::vector<Taken> ours;
  for (const StoredDocument& document : documents)
    if (fate == Fate::Copied || locks_->tryLock(box.number(), document.position))
      ours.push_back({box, document.position, document.id});
  service_->held();
  Changed result;
  const auto work = [&] {
    result = {};
    Database& database = service_->store().database();
    const bool endsAttempts =
        (fate == Fate::Deleted || fate == Fate::Acknowledged) && attempts_.isAny(database);
    result.held = std::ssize(documents) - std::ssize(ours);
    for (const Taken& message : ours) try {
        if (!service_->store().contains(box, message.position, message.position)) continue;  // gone meanwhile
        change(message, fate, target.queue);
        if (endsAttempts) attempts_.forget(database, shownNumber(message.id));
        ++result.done;
      } catch (const Error& error) {
        if (error.number() != MQ_ERROR_MESSAGE_STORAGE_FAILED) throw;
        result.damaged.push_back(message.id);
      }
    RunNotes(database, runTable).put(note);
  };
  const auto letGo = [&] {
    if (fate == Fate::Copied) return;
    for (const Taken& message : ours) locks_->unlock(box.number(), message.position);
  };
  try {
    service_->write(fate == Fate::Copied ? Database::Purpose::Stores : Database::Purpose::Frees, work, letGo);
  } catch (...) {
    letGo();
    throw;
  }
  if (fate != Fate::Deleted) service_->signals().signal(target.number());
  return result;
}

std::vector<std::int64_t> QueueOperations::store(const String& queue,
                                                 std::span<const StoredDocument> documents,
                                                 const RunNote& note) {
  std::vector<std::int64_t> identifiers;
  const Box box{recordOf(queue).id, false};
  service_->write(
      Database::Purpose::Stores,
      [&] {
        identifiers.clear();
        for (const StoredDocument& document : documents) {
          MessageContent content;
          content.label = document.label;
          content.appSpecific = document.isCompressed ? compressedBody : 0;
          content.delivery = MQMSG_DELIVERY_RECOVERABLE;
          content.sentTime = document.sent;
          content.body = std::make_shared<const Variant>(document.body);
          identifiers.push_back(service_->store().put({box.queue, std::move(content)}));
        }
        RunNotes(service_->store().database(), runTable).put(note);
      },
      [&] { service_->signals().signal(box.number()); });
  return identifiers;
}

std::vector<RunNote> QueueOperations::notes(const std::string& work, const String& queue) {
  if (!service_) return {};
  return RunNotes(service_->store().database(), runTable).of(work, toUtf8(queue));
}

void QueueOperations::forgetRun(const std::string& run) {
  if (!service_) return;
  Database& database = service_->store().database();
  service_->store().write(Database::Purpose::Frees, [&] { RunNotes(database, runTable).forget(run); });
}

// ---- Attempts

std::int32_t QueueOperations::beginAttempt(std::int64_t shown) {
  return attempts_.begin(service_->store().database(), shown);
}
void QueueOperations::endAttempts(std::int64_t shown) { attempts_.end(service_->store().database(), shown); }
void QueueOperations::noteFailure(std::int64_t shown, const String& reason, std::int32_t count) {
  attempts_.fail(service_->store().database(), shown, toStored(reason), count);
}
String QueueOperations::failure(std::int64_t shown) {
  return fromStored(attempts_.reason(service_->store().database(), shown));
}

void QueueOperations::removeQueue(const String& queue) {
  const QueueAddress address = recordOf(queue).address;
  service_->remove(address, [&] {
    const QueueRecord now = service_->find(address);
    if (now.messages + now.journalMessages > 0)
      queuingFailed(MQ_ERROR_ACCESS_DENIED, u"Messages have come into the queue " + shownName(address) +
                                                u" meanwhile; it stays. End its senders first.");
    RunNotes(service_->store().database(), runTable).forgetQueue(toUtf8(queue));
  });
}

std::int64_t QueueOperations::compact() { return service_ ? service_->store().compact() : 0; }

}  // namespace CorvaneQueue::platform_layer
