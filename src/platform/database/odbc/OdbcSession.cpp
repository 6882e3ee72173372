#include "OdbcSession.h"

#include "ConnectionPool.h"
#include "StoredText.h"

#include <random>
#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::u16string_view statementMarks[] = {u"corvane_statement", u"corvane_next_statement"};
std::u16string markOf(std::int32_t level) { return u"corvane_level" + decimal(level); }

// The one procedure that may give rows without end, when it is asked for all: then it has no time limit.
constexpr std::u16string_view listing = u"[dbo].[mdqGetMessagesTrans]";
constexpr std::int32_t unlimited = 0;  // seconds

constexpr std::u16string_view undone =
    u"What the transaction did is undone. Begin it again once the server can be reached.";

// Nobody else waits the same time.
void waitAMoment() {
  thread_local std::minstd_rand random{std::random_device{}()};
  std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution(1, 20)(random)));
}

}  // namespace

OdbcSession::~OdbcSession() { drop(); }

void OdbcSession::drop() noexcept {
  giveBack(std::move(connection_));
  isStarted_ = false;
  mark_ = {};
}

OdbcConnection& OdbcSession::connection() {
  if (!connection_ || connection_->isInherited()) connection_ = takeConnection(place_);
  return *connection_;
}

// ---- Errors

std::u16string OdbcSession::shown() const {
  const auto database = valueOfKeyword(place_.connection, u"Database");
  const auto server = valueOfKeyword(place_.connection, u"Server");
  return u"The message store in database \"" + database + u"\" on \"" + server + u"\": ";
}

// Without the password, whatever the driver prints.
std::u16string OdbcSession::told(const Diagnosis& diagnosis) const {
  constexpr std::u16string_view hidden = u"***";
  std::u16string text = diagnosis.text;
  if (!place_.password.empty())
    for (auto at = text.find(place_.password); at != text.npos;
         at = text.find(place_.password, at + hidden.size()))
      text.replace(at, place_.password.size(), hidden);
  return text;
}

// Drivers do not always say that it was the connection.
FailureKind OdbcSession::kindOf(const Diagnosis& diagnosis) const {
  if (connection_ && !connection_->isAlive()) return FailureKind::Connection;
  return Dialect::of(place_.engine).kindOf(diagnosis);
}

void OdbcSession::fail(FailureKind kind, const Diagnosis& diagnosis) const {
  const auto failed = [&](std::int32_t number, std::u16string_view advice) {
    throw Error(number, storeSource, shown() + told(diagnosis) + u". " + std::u16string(advice));
  };
  switch (kind) {
    case FailureKind::Connection:
      failed(E_FAIL,
             u"Check that the server runs and can be reached, and the settings of "
             u"[Platform.MessageStore].");
      break;
    case FailureKind::Timeout:
      failed(StoreError::timeoutExpired,
             u"Timeout expired. Try again, or look at the server for whoever is in "
             u"the way.");
      break;
    case FailureKind::Integrity: failed(StoreError::integrity, u"Nothing was stored."); break;
    case FailureKind::Permission:
      failed(StoreError::permissionDenied,
             u"\"corvaneq database check\" says which rights the user of the connection lacks.");
      break;
    case FailureKind::Refused: throw Error(ErrorNumber::InvalidArgument, storeSource, told(diagnosis));
    case FailureKind::Conflict:
      failed(E_FAIL,
             u"Another transaction was in the way. This call is undone, and what came before it in its "
             u"transaction stands: call it again, or abort.");
      break;
    case FailureKind::DiskFull: failed(E_FAIL, u"The server's disk is full; nothing was stored."); break;
    case FailureKind::Statement:
      failed(StoreError::statement,
             u"\"corvaneq database check\" says whether tables and procedures are as they must be.");
      break;
    case FailureKind::Other: break;
  }
  failed(E_FAIL, u"Nothing was stored.");
  std::terminate();
}

void OdbcSession::lose(const Diagnosis& diagnosis) {
  isLost_ = true;
  connection_.reset();
  drop();
  throw Error(E_FAIL, storeSource,
              shown() + u"the connection was lost inside a transaction (" + told(diagnosis) + u"). " +
                  std::u16string(undone));
}

void OdbcSession::mustStand() const {
  if (isStarted_ && connection_->isInherited())
    throw Error(E_FAIL, storeSource,
                shown() +
                    u"this process was forked off one that has a transaction open, which is not its own. "
                    u"Initialize the queue again.");
  if (isLost_)
    throw Error(E_FAIL, storeSource,
                shown() + u"the connection was lost inside a transaction. " + std::u16string(undone));
}

// ---- Statements

std::u16string OdbcSession::begin() {
  const Dialect& dialect = connection_->dialect();
  connection_->isInTransaction(true);
  isStarted_ = true;
  mark_ = {};
  std::u16string text(dialect.begin());
  for (std::int32_t level = 2; level <= level_; ++level) text += u"; " + dialect.savepoint(markOf(level));
  return text;
}

std::unique_ptr<RowsInMemory> OdbcSession::runInside(const Work& work) {
  OdbcConnection& connection = *connection_;
  const Dialect& dialect = connection.dialect();
  // The mark of the statement before goes in the same round trip.
  const auto released = mark_.empty() ? std::u16string() : dialect.release(mark_);
  mark_ = statementMarks[mark_ == statementMarks[0] ? 1 : 0];
  try {
    return work(connection, (released.empty() ? u"" : released + u"; ") + dialect.savepoint(mark_));
  } catch (const OdbcFailure& failure) {
    if (kindOf(failure.diagnosis()) == FailureKind::Connection) lose(failure.diagnosis());
    try {
      connection.undo(dialect.rollbackTo(mark_));
    } catch (const OdbcFailure&) {
      lose(failure.diagnosis());
    }
    fail(kindOf(failure.diagnosis()), failure.diagnosis());
  }
}

// A statement that has nothing before it in its transaction is run once more on a new connection when the
// connection is lost: nothing of it can have been stored. Outside of transactions all calls may be repeated.
std::unique_ptr<RowsInMemory> OdbcSession::run(const Work& work) {
  mustStand();
  send_.reset();
  if (isStarted_) return runInside(work);
  constexpr int tries = 5;
  for (int attempt = 1;; ++attempt) {
    try {
      connection();
      return work(*connection_, level_ > 0 ? begin() : std::u16string());
    } catch (const OdbcFailure& failure) {
      const FailureKind kind = kindOf(failure.diagnosis());
      if (kind == FailureKind::Connection) {
        connection_.reset();
        closeIdle(place_);
      }
      drop();  // rolled back
      if (kind == FailureKind::Connection && attempt == 1) continue;
      if (kind == FailureKind::Conflict && attempt < tries) {
        waitAMoment();
        continue;
      }
      fail(kind, failure.diagnosis());
    }
  }
}

std::unique_ptr<Recordset> OdbcSession::query(std::u16string_view text, std::int32_t seconds) {
  const ServerText ready = Dialect::of(place_.engine).queryText(text);
  OdbcParameters parameters(ready.values);
  return run([&](OdbcConnection& connection, std::u16string_view before) {
    if (const auto cursor = connection.dialect().openCursor(ready.sql); !cursor.empty())
      return connection.list(before, cursor, seconds);
    connection.executeFirst(before);
    return connection.list(ready.sql, parameters, seconds);
  });
}

std::unique_ptr<Recordset> OdbcSession::call(std::u16string_view procedure, std::span<Parameter> parameters,
                                             std::int32_t seconds) {
  const Dialect& dialect = Dialect::of(place_.engine);
  const bool isRow = dialect.returnsOutputsAsRow();
  OdbcParameters bound(parameters, isRow ? OdbcParameters::Outputs::InRow : OdbcParameters::Outputs::Bound);
  const bool mayBeLong = level_ == 0 && seconds == unlimited && procedure == listing;
  auto rows = run([&](OdbcConnection& connection, std::u16string_view before) {
    if (mayBeLong)
      if (const auto cursor = dialect.openCursor(procedure, bound.asTexts()); !cursor.empty())
        return connection.list(before, cursor, seconds);
    if (!before.empty() && dialect.takesTextsTogether())
      if (const auto values = bound.asTexts(); !values.empty())
        return connection.runTogether(before, procedure, values, seconds);
    connection.executeFirst(before);
    return connection.run(dialect.callText(procedure, parameters), bound, seconds, OdbcConnection::Keep::Yes);
  });
  std::int32_t column = 0;
  for (Parameter& parameter : parameters)
    if (isRow && parameter.Direction == adParamOutput && rows && rows->RecordCount() > 0)
      parameter.Value = rows->Field(column++);
  return rows;
}

std::unique_ptr<Recordset> OdbcSession::execute(std::u16string_view text) {
  OdbcParameters none{std::span<const std::u16string>()};
  return run([&](OdbcConnection& connection, std::u16string_view before) {
    connection.executeFirst(before);
    return connection.run(std::u16string(text), none, 0, OdbcConnection::Keep::No);
  });
}

// ---- Transactions

std::int32_t OdbcSession::BeginTrans() {
  mustStand();
  if (isStarted_) {
    try {
      connection_->execute(connection_->dialect().savepoint(markOf(level_ + 1)));
      mark_ = {};  // it lies before the new one
    } catch (const OdbcFailure& failure) {
      lose(failure.diagnosis());
    }
  }
  return ++level_;
}

void OdbcSession::CommitTrans() {
  mustStand();
  if (level_ == 0) throw Error(E_FAIL, storeSource, u"There is no open transaction on the connection.");
  const std::int32_t level = level_--;
  if (!isStarted_) return;
  const Dialect& dialect = connection_->dialect();
  try {
    if (level > 1) {
      const auto released = dialect.release(markOf(level));
      mark_ = {};
      if (!released.empty()) connection_->execute(released);
      return;
    }
    connection_->execute(dialect.commit());
    connection_->isInTransaction(false);
    isStarted_ = false;
    mark_ = {};
  } catch (const OdbcFailure& failure) {
    if (level > 1) lose(failure.diagnosis());
    const FailureKind kind = kindOf(failure.diagnosis());
    drop();
    if (kind != FailureKind::Connection) fail(kind, failure.diagnosis());
    closeIdle(place_);
    if (const auto send = std::exchange(send_, std::nullopt); send && isSentAgain(*send)) return;
    throw Error(StoreError::outcomeUnknown, storeSource,
                shown() + u"the connection was lost during the commit (" + told(failure.diagnosis()) +
                    u"): whether the work is stored is not known. Look whether it is there before it is done "
                    u"again.");
  }
}

void OdbcSession::RollbackTrans() {
  mustStand();
  if (level_ == 0) throw Error(E_FAIL, storeSource, u"There is no open transaction on the connection.");
  const std::int32_t level = level_--;
  if (!isStarted_) return;
  if (level == 1) return drop();
  try {
    connection_->undo(connection_->dialect().rollbackTo(markOf(level)));
    mark_ = {};
  } catch (const OdbcFailure& failure) {
    lose(failure.diagnosis());
  }
}

}  // namespace CorvaneQueue::platform_layer
