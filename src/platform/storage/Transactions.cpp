// The transactions of a session with a store.
#include "Database.h"
#include "Process.h"
#include "Schema.h"
#include "Sessions.h"

#include <sqlite3.h>
#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {
Turn::Deadline deadlineOf(Database::Limit limit) {
  return limit ? Turn::Deadline(std::chrono::steady_clock::now() + *limit) : std::nullopt;
}
}  // namespace

// Asked by the engine while somebody else's transaction is open: a reader's that is soon over, or that of a
// program which knows no turns.
int Database::onBusy(int attempt) {
  const auto now = std::chrono::steady_clock::now();
  constexpr auto ordinaryWait = std::chrono::seconds(30);
  if (attempt == 0 && deadline_ < now) deadline_ = now + ordinaryWait;
  if (now >= deadline_) return 0;
  constexpr int eagerAttempts = 200;
  if (attempt < eagerAttempts)
    std::this_thread::yield();
  else
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

bool Database::isUsable() const noexcept {
  return process_ == processNumber() && !files_.areLost() &&
         (!inTransaction_ || sqlite3_get_autocommit(handle_.get()) == 0);
}

void Database::mustTake(Purpose purpose) {
  if (purpose == Purpose::Frees) {
    if (reserve_.isNeeded()) giveUpReserve();
    return;
  }
  StoreState& state = sharing_->state();
  if (state.isDamaged != 0)
    file_.fail(E_FAIL, u"the file has been found damaged; nothing was stored. Restore it from a copy." +
                           lossNote(&state));
  if (state.hasReserve != 0) return;
  if (!reserve_.make())
    throw DiskFull(E_FAIL, storeSource,
                   u"The store \"" + shownPath(file_.path) +
                       u"\": the disk is full; nothing was stored. Free some space and try again.");
  state.hasReserve = 1;
}

void Database::begin(Purpose purpose, Limit limit) {
  if (!sharing_)
    file_.fail(StoreError::permissionDenied, u"the file cannot be written; check its permissions.");
  files_.mustBeThere(file_, *sharing_);
  files_.mustMapWholeIndex(file_);
  if (sessions_->isHeldByThread(file_.path))
    file_.fail(
        StoreError::timeoutExpired,
        u"another queue object of this thread has sent or acknowledged in its transaction, and this one "
        u"would wait for that in vain. Work through that object, or end its transaction first. To move a "
        u"document: receive it in a transaction, send it through another object, then acknowledge and "
        u"commit.");
  durability_->mustBeTrusted();
  mustTake(purpose);
  const auto deadline = deadlineOf(limit);
  Turn& turn = sharing_->writers();
  if (!turn.take(deadline))
    file_.fail(StoreError::timeoutExpired, u"timeout expired: " + turn.holder() +
                                               u". Try again, or end the transaction of that process.");
  constexpr auto forever = std::chrono::hours(24 * 365);
  deadline_ = deadline.value_or(std::chrono::steady_clock::now() + forever);
  try {
    static_cast<void>(cached("BEGIN IMMEDIATE").step());
    inTransaction_ = true;
    if (sharing_->state().isLogMoved != 0) beginLog();
  } catch (...) {
    rollback();
    turn.pass();
    throw;
  }
}

// A new log is begun: marks the store's file as that to which it belongs. Only once the mark before has
// reached the file, so that they never differ by more than one.
void Database::beginLog() {
  const std::uint32_t now = generation();
  if (now != generationInFile()) return;
  run(handle_.get(), file_, "PRAGMA dbo.application_id = " + std::to_string((now + 1) & 0x7fffffff),
      "beginning a log");
  beginsLog_ = true;
}

void Database::keepOpen() noexcept { sessions_->note(this, true); }

void Database::endTransaction() noexcept {
  inTransaction_ = false;
  beginsLog_ = false;
  sharing_->writers().pass();
  sessions_->note(this, false);
}

void Database::commit(Durable when) {
  const std::uint64_t number = durability_->committing();
  try {
    execute("COMMIT");
  } catch (...) {
    durability_->committed(number);
    rollback();
    throw;
  }
  if (beginsLog_) sharing_->state().isLogMoved = 0;
  endTransaction();
  durability_->committed(number);
  if (when == Durable::Later) return;
  durability_->sync(number);
  if (durability_->isMoveDue()) moveLog(std::chrono::milliseconds(0));
}

std::optional<std::uint64_t> Database::commits() const noexcept {
  if (!sharing_) return std::nullopt;
  const StoreState& state = sharing_->state();
  const std::uint64_t begun = state.begun;
  return state.done >= begun ? std::optional(begun) : std::nullopt;
}

void Database::rollback() noexcept {
  if (!inTransaction_) return;
  if (sqlite3_get_autocommit(handle_.get()) == 0)
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  endTransaction();
}

void Database::giveUpReserve() noexcept {
  reserve_.giveUp();
  sharing_->state().hasReserve = 0;
}

// Waits a little for readers, should the log have to be cut back.
void Database::moveLog(std::chrono::milliseconds patience) noexcept {
  const auto now = std::chrono::steady_clock::now();
  deadline_ = now + std::max(patience, std::chrono::milliseconds(20));
  durability_->moveLog(now + std::max(patience, std::chrono::milliseconds(10)),
                       patience.count() > 0 ? Durability::Shorten::Yes : Durability::Shorten::No);
}

void Database::write(Purpose purpose, Limit limit, const std::function<void()>& work, Durable when) {
  for (bool isLast = false;; isLast = true) {
    begin(purpose, limit);
    try {
      work();
      return commit(when);
    } catch (const DiskFull&) {  // perhaps there is room in the store, and only the log cannot grow
      rollback();
      if (isLast) throw;
      if (purpose == Purpose::Frees) giveUpReserve();
      moveLog(std::chrono::seconds(1));
    } catch (...) {
      rollback();
      throw;
    }
  }
}

std::int64_t Database::freePages() { return numberOf(handle_.get(), file_, "PRAGMA dbo.freelist_count"); }

bool Database::giveBackPages() {
  const std::int64_t before = freePages();
  // Writers wait for it, and for the sync of what it has written.
  constexpr int parts = 8;
  constexpr auto longest = std::chrono::milliseconds(20);
  write(Purpose::Frees, std::chrono::seconds(1), [&] {
    const auto end = std::chrono::steady_clock::now() + longest;
    for (int part = 0; part < parts && std::chrono::steady_clock::now() < end; ++part)
      execute("PRAGMA dbo.incremental_vacuum(128)");
  });
  return freePages() < before;
}

void Database::giveBackSpace() {
  constexpr std::int64_t manyPages = 4096;
  try {
    bool isAnyGiven = false;
    while (freePages() > manyPages && giveBackPages()) isAnyGiven = true;
    // The room is the disk's once the log is in the file.
    if (isAnyGiven) moveLog(std::chrono::seconds(1));
  } catch (const Error&) {  // another time
  }
}

std::int64_t Database::giveBackSome() {
  const bool isAnyGiven = freePages() > 0 && giveBackPages();
  const std::int64_t left = isAnyGiven ? freePages() : 0;
  if (left == 0) moveLog(std::chrono::milliseconds(50));  // writers wait for it
  return left * numberOf(handle_.get(), file_, "PRAGMA dbo.page_size");
}

}  // namespace CorvaneQueue::platform_layer
