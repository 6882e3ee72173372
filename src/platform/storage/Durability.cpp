#include "Durability.h"

#include <sqlite3.h>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::uint32_t ordinaryFrames = 2000;
constexpr auto longestWait = std::chrono::seconds(30);

Turn::Deadline in(std::chrono::steady_clock::duration time) {
  return std::chrono::steady_clock::now() + time;
}

// Numbers only grow.
void raise(std::atomic<std::uint64_t>& number, std::uint64_t to) noexcept {
  std::uint64_t now = number;
  while (now < to && !number.compare_exchange_weak(now, to)) {
  }
}

// A turn for the time of a piece of work.
class Taken {
 public:
  Taken(Turn& turn, Turn::Deadline deadline) : turn_(turn), isOurs_(turn.take(deadline)) {}
  ~Taken() {
    if (isOurs_) turn_.pass();
  }
  Taken(const Taken&) = delete;
  Taken& operator=(const Taken&) = delete;
  explicit operator bool() const noexcept { return isOurs_; }

 private:
  Turn& turn_;
  bool isOurs_;
};

[[noreturn]] void syncFailed(const StoreFile& file, std::u16string_view why) {
  try {
    file.fail(outcomeUnknown,
              u"what was stored is there, but may not survive a power failure: " + std::u16string(why) +
                  u" Look whether the document is there before it is sent again, and check the disk.");
  } catch (const Error& error) {
    throw SyncFailed(error.number(), error.source(), error.description());
  }
}

}  // namespace

std::uint64_t Durability::committing() noexcept { return ++sharing_->state().begun; }

void Durability::committed(std::uint64_t commit) noexcept { raise(sharing_->state().done, commit); }

bool Durability::syncLog() noexcept {
  sqlite3_file* log = nullptr;
  return sqlite3_file_control(handle_, "dbo", SQLITE_FCNTL_JOURNAL_POINTER, &log) == SQLITE_OK &&
         (log == nullptr || log->pMethods == nullptr ||
          log->pMethods->xSync(log, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY) == SQLITE_OK);
}

void Durability::sync(std::uint64_t commit) {
  StoreState& state = sharing_->state();
  if (state.synced >= commit && state.isLogSuspect == 0) return;
  const Taken turn(sharing_->syncers(), in(longestWait));
  if (!turn) syncFailed(*file_, u"the log could not be synced: " + sharing_->syncers().holder() + u".");
  try {
    if (state.isLogSuspect == 0) {
      if (state.synced >= commit) return;  // by whoever had the turn before
      const std::uint64_t covered = state.done;
      if (syncLog()) return raise(state.synced, covered);
      state.isLogSuspect = 1;
    }
    writeLogAnew();
  } catch (const Error& error) {
    syncFailed(*file_, u"the log could not be synced (" + std::u16string(error.description().view()) + u").");
  }
}

void Durability::mustBeTrusted() {
  if (sharing_->state().isLogSuspect == 0) return;
  const Taken turn(sharing_->syncers(), in(longestWait));
  try {
    if (!turn) throw Error(E_FAIL, storeSource, sharing_->syncers().holder());
    if (sharing_->state().isLogSuspect != 0) writeLogAnew();
  } catch (const Error& error) {
    file_->fail(error.number(),
                u"a sync of its log has failed, and writing the log anew failed too (" +
                    std::u16string(error.description().view()) +
                    u"). Nothing was stored, and nothing is until that works. Check the disk.");
  }
}

void Durability::writeAnew() {
  const Taken turn(sharing_->syncers(), in(longestWait));
  if (!turn || log_.isEmpty()) return;
  sharing_->state().framesInLog = 0;  // what it holds is found out, whoever has written it
  writeLogAnew();
}

// After a failed sync the system takes the pages for written, and the next sync succeeds without them. What
// is written anew is synced indeed. With the turns of the syncers, and nobody writes meanwhile.
void Durability::writeLogAnew() {
  StoreState& state = sharing_->state();
  const Taken turn(sharing_->writers(), in(longestWait));
  if (!turn) throw Error(E_FAIL, storeSource, sharing_->writers().holder());
  if (const int code = sqlite3_exec(handle_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr); code != SQLITE_OK)
    file_->failFor(handle_, code, "taking the log");
  try {
    const LogContent content = log_.read();
    if (content.frames < state.framesInLog)
      throw Error(E_FAIL, storeSource,
                  u"the system no longer has all of the log; restore the store from a copy");
    log_.writeAnew(content.bytes);
    state.framesInLog = content.frames;
    raise(state.synced, state.begun);
    state.isLogSuspect = 0;
  } catch (...) {
    sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
  sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

bool Durability::isMoveDue() noexcept { return sharing_->state().framesInLog >= ordinaryFrames; }

void Durability::moveLog(Turn::Deadline deadline) noexcept {
  StoreState& state = sharing_->state();
  try {
    const Taken turn(sharing_->syncers(), deadline);
    if (!turn || state.isLogSuspect != 0) return;
    state.isLogMoved = 1;  // before it is: who begins at that moment must know
    // A log beyond its ordinary size is cut back to it.
    constexpr std::uint32_t longest = 2 * ordinaryFrames;
    const int mode = state.framesInLog > longest ? SQLITE_CHECKPOINT_TRUNCATE : SQLITE_CHECKPOINT_PASSIVE;
    int frames = 0;
    const int code = sqlite3_wal_checkpoint_v2(handle_, "dbo", mode, &frames, nullptr);
    if (code == SQLITE_OK && mode == SQLITE_CHECKPOINT_TRUNCATE) state.framesInLog = 0;
    if ((code & 0xFF) == SQLITE_IOERR) state.isLogSuspect = 1;
  } catch (const Error&) {  // the next commit tries again
  }
}

}  // namespace CorvaneQueue::platform_layer
