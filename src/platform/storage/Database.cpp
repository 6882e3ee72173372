#include "Database.h"

#include "EngineFiles.h"
#include "Functions.h"
#include "Log.h"
#include "Process.h"
#include "Schema.h"
#include "Sessions.h"
#include "StoredText.h"

#include <sqlite3.h>
#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr auto ordinaryWait = std::chrono::seconds(30);
constexpr const char* logLimit = "PRAGMA dbo.journal_size_limit = 16777216";

// As the engine takes a file with parameters.
std::string uriOf(const std::filesystem::path& file) {
  std::string uri = "file:";
  for (const char c : nameBytes(file)) {
    char escaped[4];
    std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    uri += c == '%' || c == '?' || c == '#' ? std::string(escaped) : std::string(1, c);
  }
  return uri;
}

}  // namespace

void Database::Close::operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
void Database::Finalize::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

void Database::check(int code, const char* tried) const {
  if (code != SQLITE_OK) file_.failFor(handle_.get(), code, tried);
}

Database::Database(const std::filesystem::path& file, std::span<const std::string_view> migrations,
                   IfMissing ifMissing)
    : file_{file},
      files_(file),
      process_(processNumber()),
      isStandIn_(ifMissing == IfMissing::ReadEmpty && !isThere(file)),
      sessions_(Sessions::ofProcess()),
      reserve_(file) {
  mustNotBeHalfRestored();
  if (!sessions_->add(this, file))
    file_.fail(
        E_FAIL,
        u"this process was forked from one that had a store open, and cannot open one itself. Fork before "
        u"the first use, or start the new process with exec.");
  try {
    if (isStandIn_)
      openStandIn(migrations);
    else
      open(migrations);
  } catch (...) {
    sessions_->remove(this);
    throw;
  }
}

void Database::mustNotBeHalfRestored() const {
  std::filesystem::path restoring = file_.path;
  if (isThere(restoring += restoringTail))
    file_.fail(E_FAIL, u"the file was being restored from a copy, which did not end. Restore it again.");
}

// What one has left that was killed before it replaced anything. Whoever restores is alone: he is none of the
// others that have the store open.
void Database::dropUnusedCopy() const {
  mustNotBeHalfRestored();  // since it was looked at
  std::filesystem::path copy = file_.path;
  if (!isThere(copy += restoredTail)) return;
  removeFile(copy);
  warnInLog(
      u"Storage", u"Restore",
      u"A restore did not end, and changed nothing: its file \"" + shownPath(copy) + u"\" was removed.");
}

Database::~Database() {
  if (process_ != processNumber()) {  // the parent's session: its locks and files are not ours to touch
    for (auto& [sql, statement] : statements_) statement.release();
    handle_.release();
    sharing_.release();  // to let go of a lock here would take it from the parent
    return;
  }
  rollback();
  statements_.clear();
  // The last session moves the log into the file and leaves it empty, so that the file alone is the store.
  // Not over pages that may not be on the disk.
  if (sharing_) {
    constexpr auto patience = std::chrono::seconds(1);
    const bool isOurs = sharing_->takeSyncs(std::chrono::steady_clock::now() + patience);
    if (!isOurs || files_.areLost() || sharing_->state().isLogSuspect != 0)
      sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    handle_.reset();
    sharing_->passSyncs();
  }
  sessions_->remove(this);
}

void Database::openStandIn(std::span<const std::string_view> migrations) {
  openHandle(":memory:");
  for (const std::string_view migration : migrations)
    run(handle_.get(), file_, std::string(migration), "preparing");
}

void Database::open(std::span<const std::string_view> migrations) {
  makeDirectory(file_.path.parent_path());
  sharing_ = StoreSharing::join(file_.path);  // only writers need it

  const bool isFirst = sharing_ && sharing_->isFirst();
  if (isFirst) dropUnusedCopy();
  if (sharing_) {
    file_.state = &sharing_->state();
    if (!isThere(file_.path)) File(file_.path, File::Use::Create);
  }
  files_.remember();
  if (isFirst)
    inspectLog();
  else
    beforeReading();
  openHandle(nameBytes(file_.path));
  deadline_ = std::chrono::steady_clock::now() + ordinaryWait;
  if (isFirst) setStaleLogAside();
  if (!sharing_) readAsItIs();
  bringUpToDate(handle_.get(), file_, migrations,
                isFirst    ? Opener::First
                : sharing_ ? Opener::Later
                           : Opener::Reader);
  generation();  // the engine opens its log and maps its index with the first read
  files_.indexIsMapped(file_);
  if (isFirst) files_.forgetLog();  // an older store's have gone
  files_.remember();
  beforeReading();
  if (!sharing_) return;
  durability_.emplace(handle_.get(), file_, *sharing_);
  durability_->awaitSyncs();
  wasFirst_ = isFirst;
  if (!isFirst) return;
  file_.state->lastNumber = file_.state->numbersTo = 0;
  checkDamage();
  durability_->writeAnew();
  sharing_->settle();
}

void Database::openHandle(const std::string& attached) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(
      ":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI,
      engineFiles());
  handle_.reset(opened);
  check(code, "opening");
  sqlite3_extended_result_codes(opened, 1);
  sqlite3_busy_handler(
      opened, [](void* self, int attempt) { return static_cast<Database*>(self)->onBusy(attempt); }, this);
  check(addFunctions(opened), "opening");
  { execute("ATTACH DATABASE ?1 AS dbo", attached); }
  // Durability comes from sync() after a commit, outside the lock. The log keeps its size: writing over
  // it is faster than growing it.
  execute("PRAGMA dbo.synchronous = NORMAL");
  execute("PRAGMA dbo.secure_delete = OFF");  // a purge would write every freed page
  execute("PRAGMA temp_store = MEMORY");      // no document in a file outside the installation
  execute(logLimit);
  int keep = 1;
  sqlite3_file_control(opened, "dbo", SQLITE_FCNTL_PERSIST_WAL, &keep);
  // The log is moved after the sync, not inside a commit.
  sqlite3_wal_hook(
      opened,
      [](void* self, sqlite3*, const char*, int frames) {
        if (StoreState* const state = static_cast<Database*>(self)->file_.state)
          state->framesInLog = static_cast<std::uint32_t>(frames);
        return SQLITE_OK;
      },
      this);
}

// A store that this user may only read: as it is, when nobody writes it, else beside those who do.
void Database::readAsItIs() {
  try {
    numberOf(handle_.get(), file_, "SELECT count(*) FROM dbo.sqlite_schema");
  } catch (const Error&) {
    if (!LogFile(file_.path).isEmpty()) throw;
    statements_.clear();
    openHandle(uriOf(file_.path) + "?immutable=1");
  }
}

// ---- What the first session looks at

// Before the engine does, which takes a damaged place for the end of the log.
void Database::inspectLog() {
  const LogFile log(file_.path);
  const LogContent content = log.read();
  StoreState& state = *file_.state;
  // What stands behind all that was ever committed is the rest of a commit whose process was killed in it.
  const std::uint64_t boot = bootNumber();
  const bool isAllThere = boot != 0 && state.boot == boot && content.frames >= state.framesInLog;
  state.boot = boot;
  state.framesInLog = content.frames;
  state.indexBytes = 0;
  state.hasReserve = 0;
  state.isLogMoved = 1;
  state.lostTransactions = isAllThere ? 0 : content.transactionsBehind;
  if (state.lostTransactions == 0) return;
  const std::filesystem::path kept = log.copyAside("damaged");
  warnInLog(
      u"Storage", u"Opening",
      u"The log of the store \"" + shownPath(file_.path) + u"\" is damaged behind frame " +
          decimal(std::int64_t{content.frames}) + u": " + decimal(std::int64_t{content.transactionsBehind}) +
          u" transactions behind that place cannot be read and are not in the store. After a power failure "
          u"they may be ones that had not ended; otherwise documents are missing, or acknowledged ones are "
          u"back. The log is kept as \"" +
          shownPath(kept) + u"\".");
}

std::uint32_t Database::generationInFile() const {
  constexpr sqlite3_int64 applicationIdAt = 68;  // in the engine's file header
  sqlite3_file* file = nullptr;
  std::uint8_t bytes[4] = {};
  if (sqlite3_file_control(handle_.get(), "dbo", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
      file != nullptr && file->pMethods != nullptr)
    file->pMethods->xRead(file, bytes, sizeof bytes, applicationIdAt);
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
         bytes[3];
}

std::uint32_t Database::generation() {
  return static_cast<std::uint32_t>(numberOf(handle_.get(), file_, "PRAGMA dbo.application_id"));
}

// Each log begins by raising the generation, so that it is that of the file or the next one. Else the file is
// a copy that was put back beside a log that does not belong to it.
void Database::setStaleLogAside() {
  const LogFile log(file_.path);
  if (log.isEmpty() || file_.state->framesInLog == 0) return;
  const std::uint32_t inFile = generationInFile();
  const std::uint32_t inAll = generation();
  if (inAll == inFile || inAll == inFile + 1) return;
  statements_.clear();
  sqlite3_db_config(handle_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  handle_.reset();
  const std::filesystem::path kept = log.setAside("stale");
  removeFile(files_.index());
  file_.state->framesInLog = 0;
  files_.forgetLog();
  warnInLog(
      u"Storage", u"Opening",
      u"The store \"" + shownPath(file_.path) +
          u"\" has been replaced by a copy while its log was left behind by a process that was killed. The "
          u"copy is used; the log, which does not belong to it, is kept as \"" +
          shownPath(kept) + u"\".");
  openHandle(nameBytes(file_.path));
}

void Database::checkDamage() {
  StoreState& state = *file_.state;
  if (state.isDamaged == 0) return;
  Statement result = prepare("PRAGMA dbo.quick_check(1)");
  if (result.step() && result.text(0) == "ok") state.isDamaged = 0;
}

void Database::beforeReading() {
  if (sharing_ && sharing_->isWhole())
    files_.mustMapWholeIndex(file_);  // whoever may not write cannot mend it either
}

Statement Database::prepare(std::string_view sql) {
  if (!inTransaction_) beforeReading();
  return cached(sql);
}

Statement Database::cached(std::string_view sql) {
  const auto found = statements_.find(sql);
  if (found != statements_.end()) return {found->second.get(), file_};
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(handle_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  std::unique_ptr<sqlite3_stmt, Finalize> owned(statement);
  check(code, "a statement");
  if (statement == nullptr) file_.fail(StoreError::statement, u"the statement is empty.");
  statements_.emplace(std::string(sql), std::move(owned));
  return {statement, file_};
}

}  // namespace CorvaneQueue::platform_layer
