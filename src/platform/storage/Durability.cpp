#include "Durability.h"

#include <sqlite3.h>
#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::uint32_t ordinaryFrames = 2000;
constexpr std::uint32_t longestFrames = 4 * ordinaryFrames;
constexpr auto longestWait = std::chrono::seconds(30);
constexpr auto longestSleep = std::chrono::milliseconds(5);  // a process that dies in its sync wakes nobody

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
    file.fail(StoreError::outcomeUnknown,
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

// Two syncs may go on at a time; who comes meanwhile waits for one of them to end, and is served by the next
// one together with all others who wait.
void Durability::sync(std::uint64_t commit) {
  StoreState& state = sharing_->state();
  const auto deadline = *in(longestWait);
  try {
    while (state.isLogSuspect != 0 || state.synced < commit) {
      const std::uint32_t ended = state.syncEnds.count;
      if (state.isLogSuspect != 0)
        writeLogAnew();
      else if (Turn* const turn = freeTurn())
        syncInTurn(*turn);
      else if (std::chrono::steady_clock::now() < deadline)
        state.syncEnds.await(ended, longestSleep);
      else
        throw Error(StoreError::timeoutExpired, storeSource, sharing_->syncers().front().holder());
    }
  } catch (const Error& error) {
    syncFailed(*file_, u"the log could not be synced (" + std::u16string(error.description().view()) + u").");
  }
}

Turn* Durability::freeTurn() {
  for (Turn& turn : sharing_->syncers())
    if (turn.tryTake()) return &turn;
  return nullptr;
}

void Durability::syncInTurn(Turn& turn) noexcept {
  StoreState& state = sharing_->state();
  const std::uint64_t covered = state.done;
  if (syncLog())
    raise(state.synced, covered);
  else
    state.isLogSuspect = 1;
  turn.pass();
  state.syncEnds.happened();
}

void Durability::awaitSyncs() {
  if (!sharing_->takeSyncs(in(longestWait)))
    file_->fail(StoreError::timeoutExpired,
                u"timeout expired: " + sharing_->syncers().front().holder() + u".");
  sharing_->passSyncs();
}

void Durability::mustBeTrusted() {
  if (sharing_->state().isLogSuspect == 0) return;
  try {
    writeLogAnew();
  } catch (const Error& error) {
    file_->fail(error.number(),
                u"a sync of its log has failed, and writing the log anew failed too (" +
                    std::u16string(error.description().view()) +
                    u"). Nothing was stored, and nothing is until that works. Check the disk.");
  }
}

void Durability::writeAnew() {
  if (log_.isEmpty()) return;
  sharing_->state().framesInLog = 0;  // what it holds is found out, whoever has written it
  sharing_->state().isLogSuspect = 1;
  writeLogAnew();
}

// After a failed sync the system takes the pages for written, and the next sync succeeds without them. What
// is written anew is synced indeed. Nobody writes meanwhile; a sync that goes on tells the truth, as the
// system tells each session of a failure.
void Durability::writeLogAnew() {
  StoreState& state = sharing_->state();
  const Taken turn(sharing_->writers(), in(longestWait));
  if (!turn) throw Error(E_FAIL, storeSource, sharing_->writers().holder());
  if (state.isLogSuspect == 0) return;  // somebody else was faster
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

bool Durability::isMoveDue() noexcept {
  const StoreState& state = sharing_->state();
  return state.framesInLog >= std::max<std::uint32_t>(ordinaryFrames, state.moveAt);
}

bool Durability::checkpoint(int mode) noexcept {
  StoreState& state = sharing_->state();
  state.isLogMoved = 1;  // before it is: who begins at that moment must know
  int frames = 0;
  int moved = 0;
  const int code = sqlite3_wal_checkpoint_v2(handle_, "dbo", mode, &frames, &moved);
  if (code == SQLITE_OK && mode == SQLITE_CHECKPOINT_TRUNCATE) state.framesInLog = 0;
  if ((code & 0xFF) == SQLITE_IOERR) state.isLogSuspect = 1;
  return code == SQLITE_OK && frames == moved && state.framesInLog <= static_cast<std::uint32_t>(frames);
}

void Durability::moveLog(Turn::Deadline deadline, Shorten shorten) noexcept {
  StoreState& state = sharing_->state();
  try {
    if (state.isLogSuspect != 0) return;
    // Others go on meanwhile, and see to it that this is not tried with each of their commits.
    const std::uint32_t frames = state.framesInLog;
    state.moveAt = frames + ordinaryFrames;
    const bool isLong = frames > longestFrames;
    bool isAll = !isLong && checkpoint(SQLITE_CHECKPOINT_PASSIVE);
    if (!isAll) {  // what they have stored by now is little: nobody waits for long
      const Taken turn(sharing_->writers(), deadline);
      if (turn && state.isLogSuspect == 0)
        isAll = checkpoint(!isLong                   ? SQLITE_CHECKPOINT_PASSIVE
                           : shorten == Shorten::Yes ? SQLITE_CHECKPOINT_TRUNCATE
                                                     : SQLITE_CHECKPOINT_RESTART);
    }
    if (isAll) state.moveAt = 0;
  } catch (const Error&) {  // the next commit tries again
  }
}

}  // namespace CorvaneQueue::platform_layer
