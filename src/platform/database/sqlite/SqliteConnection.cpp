#include "SqliteConnection.h"

#include <sqlite3.h>
#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

Database::Limit limitOf(std::int32_t timeout) {
  if (timeout == 0) return std::nullopt;
  return std::chrono::seconds(timeout);
}
Database::Purpose purposeOf(StoreProcedure::Access access) {
  return access == StoreProcedure::Access::Stores ? Database::Purpose::Stores : Database::Purpose::Frees;
}
constexpr std::int64_t documentsBox = 0;  // identifiers are unique in the store
std::string markOf(std::int32_t level) { return "level" + std::to_string(level); }

}  // namespace

ObjectStateEnum SqliteConnection::State() const {
  if (!database_) return adStateOpen;
  return database_->isUsable() && (!isStarted_ || database_->inTransaction()) ? adStateOpen : adStateClosed;
}

// ---- The store

void SqliteConnection::open(Database::IfMissing ifMissing) {
  database_.reset();
  database_.emplace(file_, definition_.migrations, ifMissing);
  sqlite3_create_function_v2(
      database_->handle(), "isHeldByOther", 1, SQLITE_UTF8, this,
      [](sqlite3_context* context, int, sqlite3_value** values) noexcept {
        auto* const self = static_cast<SqliteConnection*>(sqlite3_user_data(context));
        try {
          sqlite3_result_int(context, self->isHeldByOther(sqlite3_value_int64(values[0])) ? 1 : 0);
        } catch (const std::exception& error) {
          sqlite3_result_error(context, error.what(), -1);
        }
      },
      nullptr, nullptr, nullptr);
}

Database& SqliteConnection::reading() {
  if (!database_ || (database_->isStandIn() && isThere(file_))) open(Database::IfMissing::ReadEmpty);
  return *database_;
}

Database& SqliteConnection::writing() {
  if (!database_ || database_->isStandIn()) open(Database::IfMissing::Create);
  return *database_;
}

void SqliteConnection::run(StoreProcedure::Access access, std::int32_t timeout, const Work& work) {
  using Access = StoreProcedure::Access;
  heldByOther_.reset();
  if (isStarted_) return runInside(access, work);
  if (access == Access::Reads) return work(reading());
  if (level_ == 0) {
    writing().write(purposeOf(access), limitOf(timeout), [&] { work(*database_); });
    if (access == Access::Purges) database_->giveBackSpace();
    return;
  }
  runFirst(access, limitOf(timeout), work);
}

// ---- Transactions

std::int32_t SqliteConnection::BeginTrans() {
  if (isStarted_) enterLevel(level_ + 1);
  return ++level_;
}

// The first statement that writes begins the store's transaction.
void SqliteConnection::runFirst(StoreProcedure::Access access, Database::Limit limit, const Work& work) {
  writing().begin(purposeOf(access), limit);
  try {
    for (std::int32_t level = 2; level <= level_; ++level) enterLevel(level);
    work(*database_);
  } catch (...) {
    database_->rollback();  // there was nothing before this in it
    throw;
  }
  hasPurged_ = access == StoreProcedure::Access::Purges;
  isStarted_ = true;
  database_->keepOpen();
}

void SqliteConnection::runInside(StoreProcedure::Access access, const Work& work) {
  if (access != StoreProcedure::Access::Reads) database_->mustTake(purposeOf(access));
  hasPurged_ = hasPurged_ || access == StoreProcedure::Access::Purges;
  database_->execute("SAVEPOINT statement");
  try {
    work(*database_);
    database_->execute("RELEASE statement");
  } catch (...) {
    if (database_->isUsable()) leaveTo("statement");
    throw;
  }
}

void SqliteConnection::CommitTrans() {
  requireTransaction();
  const std::int32_t level = level_--;
  if (level > 1) {
    if (isStarted_) database_->execute("RELEASE " + markOf(level));
    return;
  }
  const bool hasPurged = hasPurged_;
  try {
    if (std::exchange(isStarted_, false)) database_->commit();
  } catch (...) {
    end();
    throw;
  }
  end();
  if (hasPurged) database_->giveBackSpace();
}

void SqliteConnection::RollbackTrans() {
  requireTransaction();
  const std::int32_t level = level_--;
  if (level > 1) {
    if (isStarted_) leaveTo(markOf(level));
    return;
  }
  if (std::exchange(isStarted_, false)) database_->rollback();
  end();
}

void SqliteConnection::end() noexcept {
  hasPurged_ = false;
  if (locks_ && !held_.empty()) locks_->unlockAll();
  held_.clear();
}

void SqliteConnection::enterLevel(std::int32_t level) { database_->execute("SAVEPOINT " + markOf(level)); }

// Undoes what was done since a mark; when that fails, everything.
void SqliteConnection::leaveTo(const std::string& mark) noexcept {
  try {
    database_->execute("ROLLBACK TO " + mark);
    database_->execute("RELEASE " + mark);
  } catch (const Error&) {
    database_->rollback();
  }
}

void SqliteConnection::requireTransaction() const {
  if (level_ == 0) throw Error(E_FAIL, storeSource, u"There is no open transaction on the connection.");
}

// ---- Documents that are held

std::filesystem::path SqliteConnection::lockFile() const {
  std::filesystem::path file = file_;
  return file += "-held";
}

bool SqliteConnection::tryHold(std::int64_t document) {
  if (std::ranges::find(held_, document) != held_.end()) return true;
  if (!locks_) locks_.emplace(lockFile());
  if (!locks_->tryLock(documentsBox, document)) return false;
  held_.push_back(document);
  return true;
}

void SqliteConnection::letGo(std::int64_t document) noexcept {
  std::erase(held_, document);
  locks_->unlock(documentsBox, document);
}

bool SqliteConnection::isHeldByOther(std::int64_t document) {
  if (heldByOther_ && heldByOther_->from <= document && document <= heldByOther_->to) return true;
  if (!locks_ && isWritable(lockFile())) locks_.emplace(lockFile());
  if (!locks_) return false;  // nobody has ever held one, or this user may not know
  heldByOther_ = locks_->heldByOther(documentsBox, document);
  return heldByOther_.has_value();
}

}  // namespace CorvaneQueue::platform_layer
