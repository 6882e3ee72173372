#include "ServerOperations.h"

#include "Dates.h"
#include "RowsInMemory.h"
#include "StoredText.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t longestBody = 1'073'741'823;
constexpr std::int32_t noTimeLimit = 0;

Parameter text(std::int32_t size, std::u16string_view value) {
  return {u"text", adVarWChar, adParamInput, size, String(value)};
}
Parameter whole(DataTypeEnum type, std::int64_t value) {
  return {u"number", type, adParamInput, 0, Variant(value)};
}
Parameter flag(std::int64_t value) { return whole(adSmallInt, value); }
Parameter identifier(std::int64_t value) { return whole(adBigInt, value); }

std::optional<std::int64_t> timeIn(const Variant& seconds) {
  const std::int64_t time = toInt64(seconds.get());
  return time < 0 ? std::nullopt : std::optional(time);
}

Date dateOfSeconds(std::int64_t time) {
  constexpr std::int64_t dayLength = 86'400;
  static const std::int64_t first = dayNumber(1970, 1, 1);
  return dateOf({first + time / dayLength, static_cast<int>(time % dayLength)});
}

// As the procedure knows them. Nothing on a server is known to be damaged.
std::int64_t numberOf(Fate fate) {
  switch (fate) {
    case Fate::Deleted: return 0;
    case Fate::Acknowledged: return 1;
    case Fate::Moved:
    case Fate::SetAside: return 2;
    case Fate::Copied: break;
  }
  return 3;
}

}  // namespace

// One that was lost inside a transaction is of no use any more.
StoreSession& ServerOperations::session() {
  if (session_->State() != adStateOpen) session_ = access_.connect();
  return *session_;
}

std::unique_ptr<Recordset> ServerOperations::call(std::u16string_view procedure,
                                                  std::vector<Parameter> parameters) {
  try {
    auto rows =
        session().call(u"[dbo].[" + std::u16string(procedure) + u"]", std::span(parameters), noTimeLimit);
    return rows ? std::move(rows) : std::make_unique<RowsInMemory>(1);
  } catch (const Error& error) {
    if (error.number() != StoreError::statement) throw;
    throw Error(
        error.number(), error.source(),
        std::u16string(error.description().view()) +
            u" Workers and the class Operations need procedures beside the six of the store: \"corvaneq "
            u"database upgrade\" makes them.");
  }
}

std::int64_t ServerOperations::number(std::u16string_view procedure, std::vector<Parameter> parameters) {
  return toInt64(call(procedure, std::move(parameters))->Field(0).get());
}

template <class Work>
void ServerOperations::asOne(const Work& work) {
  session().BeginTrans();
  try {
    work();
    session_->CommitTrans();
  } catch (...) {
    try {
      session_->RollbackTrans();
    } catch (const Error&) {  // the first failure is the one to tell
    }
    throw;
  }
}

std::vector<String> ServerOperations::queues() {
  std::vector<String> names;
  const auto rows = session().query(
      u"SELECT [Queue] FROM [dbo].[mdqMessageType] WHERE [Name] = 'idoc' ORDER BY [MessageTypeID]",
      noTimeLimit);
  for (; rows && !rows->EndOfFile(); rows->MoveNext()) names.push_back(toString(rows->Field(0).get()));
  return names;
}

QueueContent ServerOperations::content(const String& queue) {
  const auto row = call(u"mdqQueueContent", {text(longestText, queue)});
  const auto count = [&](std::int32_t column) { return toInt64(row->Field(column).get()); };
  QueueContent content;
  content.queue = queue;
  content.waiting = count(0);
  content.waitingBytes = count(1);
  content.held = count(2);
  content.acknowledged = count(3);
  content.acknowledgedBytes = count(4);
  content.oldestWaiting = timeIn(row->Field(5));
  content.lastSent = timeIn(row->Field(6));
  content.lastAcknowledged = timeIn(row->Field(7));
  return content;
}

Looked ServerOperations::read(const DocumentList& list, std::int64_t from, Direction direction,
                              std::size_t count, Bodies bodies, std::vector<StoredDocument>& documents,
                              const Sieve& sieve) {
  documents.clear();
  Looked looked;
  const auto rows = call(u"mdqReadMessages",
                         {text(longestText, list.queue), flag(list.isJournal), identifier(from),
                          flag(direction == Direction::Backward),
                          whole(adInteger, static_cast<std::int64_t>(count)), flag(bodies == Bodies::Read)});
  for (; !rows->EndOfFile(); rows->MoveNext()) {
    ++looked.documents;
    looked.position = toInt64(rows->Field(0).get());
    const String label = toString(rows->TakeField(1).get());
    const std::int64_t sent = timeIn(rows->Field(2)).value_or(0);
    if (!sieve.passes(toStored(label), sent)) continue;
    StoredDocument& document = documents.emplace_back();
    document.id = document.position = looked.position;
    document.label = label;
    document.sent = sent;
    document.acknowledged = timeIn(rows->Field(3));
    document.length = toInt64(rows->Field(4).get());
    if (bodies == Bodies::Read) document.body = rows->TakeField(5);
  }
  return looked;
}

std::optional<StoredDocument> ServerOperations::find(const DocumentList& list, std::int64_t shown,
                                                     Bodies bodies) {
  std::vector<StoredDocument> found;
  read(list, shown - 1, Direction::Forward, 1, bodies, found, {});
  if (found.empty() || found.front().id != shown) return std::nullopt;
  return std::move(found.front());
}

// ---- Changes

Changed ServerOperations::change(const DocumentList& list, std::span<const StoredDocument> documents,
                                 Fate fate, const String& to, const RunNote& note) {
  std::u16string identifiers;
  for (const StoredDocument& document : documents)
    identifiers += (identifiers.empty() ? u"" : u" ") + decimal(document.id);
  Changed result;
  asOne([&] {
    const auto row = call(u"mdqChangeMessages",
                          {text(longestText, list.queue), flag(list.isJournal),
                           text(longestBody, identifiers), flag(numberOf(fate)), text(longestText, to)});
    result.done = toInt64(row->Field(0).get());
    result.held = toInt64(row->Field(1).get());
    this->note(note);
  });
  return result;
}

std::vector<std::int64_t> ServerOperations::store(const String& queue,
                                                  std::span<const StoredDocument> documents,
                                                  const RunNote& note) {
  std::vector<std::int64_t> identifiers;
  asOne([&] {
    for (const StoredDocument& document : documents) {
      std::vector<Parameter> parameters = {
          text(64, u"idoc"),
          text(longestText, queue),
          text(longestText, document.label),
          {u"CreateTimestamp", adDate, adParamInput, 0, Variant(dateOfSeconds(document.sent))},
          text(longestBody, BorrowedText(document.body.get()).view()),
          {u"MessageID", adBigInt, adParamOutput, 0}};
      session().call(u"[dbo].[mdqCreateMessage]", std::span(parameters), noTimeLimit);
      identifiers.push_back(toInt64(parameters.back().Value.get()));
    }
    this->note(note);
  });
  return identifiers;
}

void ServerOperations::note(const RunNote& note) {
  if (note.run.empty()) return;
  if (!note.replaced.empty() && note.replaced != note.run) forgetRun(note.replaced);
  call(u"mdqNoteRun", {text(longestBody, fromUtf8(note.run)), identifier(note.position)});
}

std::vector<RunNote> ServerOperations::notes(const std::string& work, const String& queue) {
  std::vector<RunNote> notes;
  const std::string end = RunNote::intoQueue + toUtf8(queue);
  const auto rows =
      call(u"mdqNotedRuns", {text(longestBody, fromUtf8(work)), text(longestBody, fromUtf8(end))});
  for (; !rows->EndOfFile(); rows->MoveNext())
    notes.push_back({toUtf8(toString(rows->Field(0).get())), toInt64(rows->Field(1).get()), {}});
  return notes;
}

void ServerOperations::forgetRun(const std::string& run) {
  constexpr std::int64_t forgotten = -1;
  call(u"mdqNoteRun", {text(longestBody, fromUtf8(run)), identifier(forgotten)});
}

void ServerOperations::removeQueue(const String& queue) {
  call(u"mdqRemoveQueue", {text(longestText, queue)});
}

std::int64_t ServerOperations::compact() {
  constexpr std::int32_t notSupported = 100;
  throw Error(
      notSupported, storeSource,
      u"A database server gives free room back by itself, or by its own tools: there is nothing to do here.");
}

// ---- Workers

std::int32_t ServerOperations::beginAttempt(std::int64_t shown) {
  if (signal_) signal_->work();
  return static_cast<std::int32_t>(number(u"mdqBeginAttempt", {identifier(shown)}));
}
void ServerOperations::endAttempts(std::int64_t shown) { call(u"mdqEndAttempts", {identifier(shown)}); }
void ServerOperations::noteFailure(std::int64_t shown, const String& reason, std::int32_t attempts) {
  call(u"mdqNoteFailure", {identifier(shown), text(longestBody, reason), whole(adInteger, attempts)});
}
String ServerOperations::failure(std::int64_t shown) {
  return toString(call(u"mdqFailureReason", {identifier(shown)})->Field(0).get());
}

bool ServerOperations::waitForChange(const String& queue, std::chrono::milliseconds longest) {
  if (!std::exchange(isAskedForSignal_, true)) signal_ = access_.signal();
  if (signal_) {
    const auto change = signal_->wait(queue, longest);
    if (change != QueueSignal::Change::CannotBeTold) return change == QueueSignal::Change::Perhaps;
  }
  std::this_thread::sleep_for(longest);
  return false;
}

}  // namespace CorvaneQueue::platform_layer
