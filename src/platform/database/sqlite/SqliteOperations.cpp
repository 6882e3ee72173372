#include "SqliteOperations.h"

#include "RunNotes.h"
#include "StoredText.h"
#include "StoredTime.h"
#include "Summaries.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr const char* documentWaits =
    "EXISTS (SELECT 1 FROM dbo.mdqDocument d CROSS JOIN dbo.mdqWaiting w"
    " ON w.MessageTypeID = d.MessageTypeID AND w.MessageID = d.MessageID WHERE d.MessageID = f.messageId)";
constexpr const char* runTable = "mdqRun";
constexpr auto writersWait = std::chrono::seconds(30);
constexpr std::int64_t documentsBox = 0;  // of the locks: identifiers are unique in the store

}  // namespace

SqliteOperations::SqliteOperations(std::filesystem::path file, const StoreDefinition& definition)
    : file_(std::move(file)),
      definition_(definition),
      sql_(definition_.operations),
      attempts_("mdqFailure", documentWaits, runTable) {
  open(Database::IfMissing::ReadEmpty);
}

void SqliteOperations::open(Database::IfMissing ifMissing) {
  database_.reset();
  database_.emplace(file_, definition_.migrations, ifMissing);
}

std::filesystem::path SqliteOperations::lockFile() const {
  std::filesystem::path file = file_;
  return file += "-held";
}

Database& SqliteOperations::reading() {
  if (!database_->isUsable() || (database_->isStandIn() && isThere(file_)))
    open(Database::IfMissing::ReadEmpty);
  return *database_;
}

Database& SqliteOperations::writing() {
  if (database_->isStandIn() || !database_->isUsable()) open(Database::IfMissing::Create);
  if (!locks_) locks_.emplace(lockFile());
  return *database_;
}

std::int64_t SqliteOperations::numberOf(std::u16string_view queue) {
  const std::string name = toStored(queue);
  Statement row = reading().rows(sql_.queue, std::string_view(name));
  if (!row.step())
    throw Error(ErrorNumber::InvalidArgument, storeSource,
                u"There is no queue \"" + std::u16string(queue) + u"\".");
  return row.integer(0);
}

std::vector<String> SqliteOperations::queues() {
  std::vector<String> names;
  Statement row = reading().prepare(sql_.queues);
  while (row.step()) names.push_back(fromStored(row.text(0)));
  return names;
}

QueueContent SqliteOperations::content(const String& queue) {
  QueueContent content;
  content.queue = queue;
  const std::int64_t number = numberOf(queue);
  Statement row = reading().rows(sql_.content, number);
  if (!row.step()) return content;
  content.waiting = row.integer(0);
  content.waitingBytes = row.integer(1);
  if (!locks_ && isWritable(lockFile())) locks_.emplace(lockFile());
  if (locks_)
    content.held = locks_->countHeldByOthers(documentsBox, [&](ByteRange range) {
      Statement held = reading().rows(sql_.countBetween, number, range.from, range.to);
      return held.step() ? held.integer(0) : 0;
    });
  content.acknowledged = row.integer(2);
  content.acknowledgedBytes = row.integer(3);
  content.lastSent = timeIn(row.text(4));
  content.lastAcknowledged = timeIn(row.text(5));
  content.oldestWaiting = timeIn(row.text(6));
  return content;
}

Looked SqliteOperations::read(const DocumentList& list, std::int64_t from, Direction direction,
                              std::size_t count, Bodies bodies, std::vector<StoredDocument>& documents,
                              const Sieve& sieve) {
  documents.clear();
  const bool isForward = direction == Direction::Forward;
  constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max() - 1;  // there is a place behind it
  if (isForward && from >= last) return {};
  const Stretch searched = isForward ? Stretch{from + 1, last} : Stretch{0, from - 1};
  const std::int64_t queue = numberOf(list.queue);
  Database& database = reading();
  const auto& statements = isForward ? sql_.forward : sql_.backward;
  const auto sift = [&](Stretch stretch, std::size_t most) {
    Looked part;
    Statement row = database.rows(statements[list.isJournal ? 1 : 0], queue, stretch.first, most,
                                  bodies == Bodies::Read, stretch.last);
    while (row.step()) {
      ++part.documents;
      part.position = row.integer(0);
      const std::int64_t sent = timeIn(row.text(2)).value_or(0);
      if (sieve.passes(row.text(1), sent)) documents.push_back(documentIn(row, sent, bodies));
    }
    return part;
  };
  if (!sieve.asksForSummaries()) return sift(searched, count);
  return siftSummarized({searched, direction,
                         database.rows(isForward ? sql_.summariesForward : sql_.summariesBackward, queue,
                                       searched.first, searched.last),
                         sift},
                        count, sieve);
}

StoredDocument SqliteOperations::documentIn(const Statement& row, std::int64_t sent, Bodies bodies) {
  StoredDocument document;
  document.id = document.position = row.integer(0);
  document.label = fromStored(row.text(1));
  document.sent = sent;
  if (row.type(3) != Statement::Type::Null) document.acknowledged = timeIn(row.text(3));
  document.length = row.integer(4);
  if (bodies == Bodies::Left) return document;
  document.isDamaged = row.type(5) == Statement::Type::Blob;
  if (!document.isDamaged) document.body = fromStored(row.text(5));
  return document;
}

std::optional<StoredDocument> SqliteOperations::find(const DocumentList& list, std::int64_t shown,
                                                     Bodies bodies) {
  std::vector<StoredDocument> found;
  read(list, shown - 1, Direction::Forward, 1, bodies, found, {});
  if (found.empty() || found.front().id != shown) return std::nullopt;
  return std::move(found.front());
}

// ---- Changes

std::span<const std::string_view> SqliteOperations::statementsFor(const DocumentList& list, Fate fate) const {
  const std::size_t which = list.isJournal ? 1 : 0;
  switch (fate) {
    case Fate::Deleted: return sql_.deleting[which];
    case Fate::Moved:
    case Fate::SetAside: return sql_.moving[which];
    case Fate::Copied: return sql_.copying;
    case Fate::Acknowledged: break;
  }
  return sql_.acknowledging;
}

Changed SqliteOperations::change(const DocumentList& list, std::span<const StoredDocument> documents,
                                 Fate fate, const String& to, const RunNote& note) {
  Database& database = writing();
  // Nobody receives them meanwhile; a copy takes nothing from anybody.
  std::vector<std::int64_t> ours;
  const bool isTaken = !list.isJournal && fate != Fate::Copied;
  for (const StoredDocument& document : documents)
    if (!isTaken || locks_->tryLock(documentsBox, document.id)) ours.push_back(document.id);
  const auto letGo = [&] {
    if (isTaken) locks_->unlockAll();
  };
  const bool isToQueue = fate == Fate::Moved || fate == Fate::SetAside || fate == Fate::Copied;
  const auto statements = statementsFor(list, fate);
  const std::string_view isListed = sql_.isListed[list.isJournal ? 1 : 0];
  Changed result;
  try {
    const auto purpose = fate == Fate::Copied ? Database::Purpose::Stores : Database::Purpose::Frees;
    database.write(purpose, writersWait, [&] {
      result = {};
      const bool endsAttempts =
          (fate == Fate::Deleted || fate == Fate::Acknowledged) && attempts_.isAny(database);
      result.held = std::ssize(documents) - std::ssize(ours);
      const std::int64_t from = numberOf(list.queue);
      const std::int64_t target = isToQueue ? numberOf(to) : from;
      for (const std::int64_t id : ours) {
        if (!database.rows(isListed, from, id).step()) continue;  // gone meanwhile
        const bool isDamaged = isToQueue && !database.rows(sql_.isSound, id).step();
        if (isDamaged && fate != Fate::SetAside) {
          result.damaged.push_back(id);
          continue;
        }
        for (const std::string_view statement : isDamaged ? sql_.movingDamaged : statements) {
          Statement step = database.prepare(statement);
          const std::int64_t values[] = {from, id, target};
          for (int i = 1; i <= step.parameterCount(); ++i) step.bind(i, values[i - 1]);
          static_cast<void>(step.step());
        }
        if (endsAttempts) attempts_.forget(database, id);
        ++result.done;
      }
      RunNotes(database, runTable).put(note);
    });
  } catch (...) {
    letGo();
    throw;
  }
  letGo();
  return result;
}

std::vector<std::int64_t> SqliteOperations::store(const String& queue,
                                                  std::span<const StoredDocument> documents,
                                                  const RunNote& note) {
  if (queue.size() > longestText)
    throw Error(ErrorNumber::InvalidArgument, storeSource,
                u"A queue's name has 250 characters at most; nothing was sent.");
  const auto procedure =
      std::ranges::find(definition_.procedures, fromUtf8(sql_.store).view(), &StoreProcedure::name);
  const std::string name = toStored(queue);
  Database& database = writing();
  std::vector<std::int64_t> identifiers;
  database.write(Database::Purpose::Stores, writersWait, [&] {
    identifiers.clear();
    for (const StoredDocument& document : documents) {
      const std::string label = toStored(document.label);
      const std::string created = storedTime(document.sent);
      const std::string body = toStored(BorrowedText(document.body.get()).view());
      const std::string_view values[] = {"idoc", name, label, created, body};
      for (const ProcedureStep& step : procedure->steps) {
        Statement statement = database.prepare(step.sql);
        for (int i = 1; i <= statement.parameterCount(); ++i) statement.bindText(i, values[i - 1]);
        if (statement.step() && step.outcome == ProcedureStep::Outcome::Output)
          identifiers.push_back(statement.integer(0));
      }
    }
    RunNotes(database, runTable).put(note);
  });
  return identifiers;
}

std::vector<RunNote> SqliteOperations::notes(const std::string& work, const String& queue) {
  return RunNotes(reading(), runTable).of(work, toUtf8(queue));
}

void SqliteOperations::forgetRun(const std::string& run) {
  Database& database = writing();
  database.write(Database::Purpose::Frees, writersWait, [&] { RunNotes(database, runTable).forget(run); });
}

// ---- Attempts

std::int32_t SqliteOperations::beginAttempt(std::int64_t shown) { return attempts_.begin(writing(), shown); }
void SqliteOperations::endAttempts(std::int64_t shown) { attempts_.end(writing(), shown); }
void SqliteOperations::noteFailure(std::int64_t shown, const String& reason, std::int32_t count) {
  attempts_.fail(writing(), shown, toStored(reason), count);
}
String SqliteOperations::failure(std::int64_t shown) {
  return fromStored(attempts_.reason(reading(), shown));
}

// Every commit is written to the log.
bool SqliteOperations::waitForChange(const String&, std::chrono::milliseconds longest) {
  if (!watcher_.isOpen()) watcher_.open(file_.parent_path());
  if (!isWatching_) {
    std::filesystem::path log = file_;
    isWatching_ = watcher_.watch(log += "-wal").has_value();
    if (isWatching_) return true;  // what has come before
    constexpr auto untilThereIsOne = std::chrono::milliseconds(10);
    if (!isThere(log)) longest = std::min(longest, untilThereIsOne);
  }
  watcher_.wait(longest);
  bool isChanged = false;
  watcher_.take([&](FileWatcher::Change change) {
    isChanged = true;
    if (change.isOver) isWatching_ = false;
  });
  return isChanged;
}

void SqliteOperations::removeQueue(const String& queue) {
  writing().write(Database::Purpose::Frees, writersWait, [&] {
    const std::int64_t number = numberOf(queue);
    Statement row = database_->rows(sql_.content, number);
    if (row.step() && row.integer(0) + row.integer(2) > 0)
      throw Error(ErrorNumber::InvalidArgument, storeSource,
                  u"Documents have come into the queue \"" + std::u16string(queue.view()) +
                      u"\" meanwhile; it stays. End its senders first.");
    database_->execute(sql_.forgetQueue, number);
    RunNotes(*database_, runTable).forgetQueue(toUtf8(queue));
  });
}

std::int64_t SqliteOperations::compact() {
  if (database_->isStandIn()) return 0;
  if (!std::exchange(isCompacting_, true))
    writing().write(Database::Purpose::Frees, writersWait, [&] { database_->execute(sql_.forgetSummaries); });
  const std::int64_t left = writing().giveBackSome();
  isCompacting_ = left > 0;
  return left;
}

}  // namespace CorvaneQueue::platform_layer
