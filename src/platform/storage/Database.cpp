#include "Database.h"

#include "Lasting.h"
#include "Text.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>
#include <algorithm>
#include <mutex>
#include <thread>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

// Numbers of the database access layer.
constexpr std::int32_t statementError = static_cast<std::int32_t>(0x80040E14u);
constexpr std::int32_t integrityViolation = static_cast<std::int32_t>(0x80040E2Fu);
constexpr std::int32_t timeoutExpired = static_cast<std::int32_t>(0x80040E31u);
constexpr std::int32_t permissionDenied = static_cast<std::int32_t>(0x80040E09u);

constexpr int checkpointPages = 2000;
constexpr auto ordinaryWait = std::chrono::seconds(30);

std::u16string widened(std::string_view text) { return {text.begin(), text.end()}; }

[[noreturn]] void fail(std::int32_t number, const std::filesystem::path& file, std::u16string_view what) {
  throw Error(number, storeSource, u"The store \"" + shownPath(file) + u"\": " + std::u16string(what));
}

[[noreturn]] void throwFor(sqlite3* handle, int code, const char* tried, const std::filesystem::path& file) {
  const std::u16string message =
      handle == nullptr ? u"out of memory" : std::u16string(fromUtf8(sqlite3_errmsg(handle)).view());
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      fail(timeoutExpired, file,
           u"timeout expired: another transaction has been open all the time. Try again, or commit or abort "
           u"that one.");
    case SQLITE_FULL:
      throw DiskFull(E_FAIL, storeSource,
                     u"The store \"" + shownPath(file) +
                         u"\": the disk is full; nothing was stored. Free some space and try again.");
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      fail(permissionDenied, file, u"the file cannot be written (" + message + u"); check its permissions.");
    case SQLITE_CORRUPT:
      fail(E_FAIL, file, u"the file is damaged (" + message + u"). Restore it from a copy.");
    case SQLITE_NOTADB:
      fail(E_FAIL, file,
           u"the file is not a message store (" + message + u"). Move it away or restore a copy.");
    case SQLITE_CANTOPEN:
      fail(E_FAIL, file,
           u"the file cannot be opened (" + message + u"); check the directory and its permissions.");
    case SQLITE_CONSTRAINT: fail(integrityViolation, file, message + u".");
    case SQLITE_NOMEM: throw std::bad_alloc();
    case SQLITE_TOOBIG:
      fail(ErrorNumber::InvalidArgument, file,
           u"the text is longer than the store can take (1,000,000,000 bytes).");
    case SQLITE_IOERR: fail(E_FAIL, file, widened(tried) + u" failed: " + message + u".");
    default: fail(statementError, file, widened(tried) + u" failed: " + message + u".");
  }
}

// Names of queues: letter case does not count. Called through the engine, which knows no exceptions.
int compareNames(void*, int leftSize, const void* left, int rightSize, const void* right) noexcept {
  const std::string_view a(static_cast<const char*>(left), static_cast<std::size_t>(leftSize));
  const std::string_view b(static_cast<const char*>(right), static_cast<std::size_t>(rightSize));
  if (a == b) return 0;
  try {
    return foldCase(fromStored(a)).compare(foldCase(fromStored(b)));
  } catch (...) {  // damaged bytes: any order will do
    return a.compare(b);
  }
}

}  // namespace

struct Sessions {
  struct Open {
    const Database* session;
    std::filesystem::path file;
    int process;
    std::thread::id transactionThread{};  // of an open-ended transaction, else nobody
  };
  std::mutex mutex;
  std::vector<Open> open;
};

namespace {
const std::shared_ptr<Sessions>& processSessions() {
  struct Shared {
    std::shared_ptr<Sessions> sessions = std::make_shared<Sessions>();
  };
  static Lasting<Shared> all;
  return all->sessions;
}
}  // namespace

// ---- Statement

Statement::~Statement() {
  if (statement_ == nullptr) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

void Statement::check(int code, const char* tried) const {
  if (code != SQLITE_OK) throwFor(sqlite3_db_handle(statement_), code, tried, *file_);
}
int Statement::parameterCount() const noexcept { return sqlite3_bind_parameter_count(statement_); }
void Statement::bindNull(int parameter) { check(sqlite3_bind_null(statement_, parameter), "binding"); }
void Statement::bind(int parameter, std::int64_t number) {
  check(sqlite3_bind_int64(statement_, parameter, number), "binding");
}
void Statement::bindText(int parameter, std::string_view bytes) {
  check(sqlite3_bind_text64(statement_, parameter, bytes.empty() ? "" : bytes.data(), bytes.size(),
                            SQLITE_STATIC, SQLITE_UTF8),
        "binding");
}
void Statement::bindBlob(int parameter, std::span<const std::uint8_t> bytes) {
  check(
      sqlite3_bind_blob64(statement_, parameter, bytes.empty() ? "" : static_cast<const void*>(bytes.data()),
                          bytes.size(), SQLITE_STATIC),
      "binding");
}
bool Statement::step() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) throwFor(sqlite3_db_handle(statement_), code, "a statement", *file_);
  return false;
}
bool Statement::tryStep(Busy busy) {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW || code == SQLITE_DONE) return true;
  if ((code & 0xFF) == SQLITE_BUSY && busy == Busy::Returns) return false;
  throwFor(sqlite3_db_handle(statement_), code, "a statement", *file_);
}
int Statement::columnCount() const noexcept { return sqlite3_column_count(statement_); }
Statement::Type Statement::type(int column) const noexcept {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_NULL: return Type::Null;
    case SQLITE_INTEGER: return Type::Integer;
    case SQLITE_FLOAT: return Type::Real;
    default: return Type::Text;
  }
}
std::string_view Statement::declaredType(int column) const noexcept {
  const char* type = sqlite3_column_decltype(statement_, column);
  return type == nullptr ? "" : type;
}
std::int64_t Statement::integer(int column) const noexcept {
  return sqlite3_column_int64(statement_, column);
}
double Statement::real(int column) const noexcept { return sqlite3_column_double(statement_, column); }
std::string_view Statement::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (bytes == nullptr) throwFor(sqlite3_db_handle(statement_), SQLITE_NOMEM, "reading", *file_);
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}
std::span<const std::uint8_t> Statement::blob(int column) const {
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  if (bytes == nullptr && size > 0) throwFor(sqlite3_db_handle(statement_), SQLITE_NOMEM, "reading", *file_);
  return {bytes, size};
}

// ---- Database

void Database::Close::operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
void Database::Finalize::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

void Database::check(int code, const char* tried) const {
  if (code != SQLITE_OK) throwFor(handle_.get(), code, tried, file_);
}

Database::Database(std::filesystem::path file, std::span<const std::string_view> migrations)
    : sessions_(processSessions()), file_(std::move(file)), process_(::getpid()) {
  enlist();
  try {
    open();
    migrate(migrations);
    sync();  // what a process stored that died before its own sync
  } catch (...) {
    delist();
    throw;
  }
}

Database::~Database() {
  if (process_ != ::getpid()) {  // the parent's session: its locks and files are not ours to touch
    for (auto& [sql, statement] : statements_) statement.release();
    handle_.release();
    return;
  }
  rollback();
  delist();
}

// The engine's account of its locks is copied by a fork, the locks are not: a session opened beside an
// inherited one could damage the store.
void Database::enlist() {
  const std::lock_guard guard(sessions_->mutex);
  for (const auto& other : sessions_->open)
    if (other.process != process_)
      fail(E_FAIL, file_,
           u"this process was forked from one that had a store open, and cannot open one itself. Fork before "
           u"the first use, or start the new process with exec.");
  sessions_->open.push_back({this, file_, process_});
}

void Database::delist() noexcept {
  const std::lock_guard guard(sessions_->mutex);
  std::erase_if(sessions_->open, [&](const auto& entry) { return entry.session == this; });
}

void Database::noteTransaction(bool isOpen) noexcept {
  const std::lock_guard guard(sessions_->mutex);
  for (auto& entry : sessions_->open)
    if (entry.session == this)
      entry.transactionThread = isOpen ? std::this_thread::get_id() : std::thread::id();
}

bool Database::isAwaitedInVain() const {
  const std::lock_guard guard(sessions_->mutex);
  return std::ranges::any_of(sessions_->open, [&](const auto& entry) {
    return entry.transactionThread == std::this_thread::get_id() && entry.file == file_;
  });
}

void Database::open() {
  std::filesystem::path lockPath = file_;
  lockPath += "-lock";
  lockFile_ = FileDescriptor::ifPermitted(lockPath, O_RDWR | O_CREAT);  // only writers need it
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(":memory:", &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  handle_.reset(opened);
  check(code, "opening");
  sqlite3_extended_result_codes(opened, 1);
  sqlite3_busy_handler(
      opened, [](void* self, int attempt) { return static_cast<Database*>(self)->onBusy(attempt); }, this);
  check(sqlite3_create_collation_v2(opened, "QUEUE_NAME", SQLITE_UTF8, nullptr, compareNames, nullptr),
        "opening");
  {
    Statement attach = prepare("ATTACH DATABASE ?1 AS dbo");
    const std::string path = file_.string();
    attach.bindText(1, path);
    attach.step();
  }
  // Durability comes from sync() after a commit, outside the lock. The log keeps its size: writing over
  // it is faster than growing it.
  execute("PRAGMA dbo.synchronous = NORMAL");
  execute("PRAGMA dbo.secure_delete = OFF");  // a purge would write every freed page
  execute("PRAGMA temp_store = MEMORY");      // no document in a file outside the installation
  if (::stat(file_.c_str(), &opened_) != 0) throwSystemError(u"Opening", file_);
  int keep = 1;
  sqlite3_file_control(opened, "dbo", SQLITE_FCNTL_PERSIST_WAL, &keep);
  sqlite3_wal_autocheckpoint(opened, checkpointPages);
}

void Database::migrate(std::span<const std::string_view> migrations) {
  const auto version = [&] {
    Statement statement = prepare("PRAGMA dbo.user_version");
    statement.step();
    return statement.integer(0);
  };
  const auto wanted = static_cast<std::int64_t>(migrations.size());
  std::int64_t found = version();
  if (found == wanted) return;
  const auto refuseNewer = [&] {
    if (found > wanted)
      fail(E_FAIL, file_,
           u"the file has schema version " + decimal(found) + u", and this library knows " + decimal(wanted) +
               u". Install the newer library.");
  };
  refuseNewer();
  {
    // The switch to the write-ahead log knows no waiting: one process at a time.
    const FileLock turn(writersLock());
    Statement mode = prepare("PRAGMA dbo.journal_mode = WAL");
    if (!mode.step() || mode.text(0) != "wal")
      fail(E_FAIL, file_,
           u"the file system cannot hold the store: it needs shared memory files. Use a local disk.");
  }
  begin(Duration::Short, ordinaryWait);
  found = version();  // another process may have been faster
  refuseNewer();
  if (found == 0) {
    Statement tables = prepare("SELECT count(*) FROM dbo.sqlite_schema");
    tables.step();
    if (tables.integer(0) != 0) {
      rollback();
      fail(E_FAIL, file_, u"the file is a database of some other program. Move it away.");
    }
  }
  try {
    for (; found < wanted; ++found) {
      const std::string sql(migrations[static_cast<std::size_t>(found)]);
      check(sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr),
            "bringing the schema up to date");
    }
    execute("PRAGMA dbo.user_version = " + std::to_string(wanted));
    commit();
  } catch (...) {
    rollback();
    throw;
  }
}

Statement Database::prepare(std::string_view sql) {
  const auto found = statements_.find(sql);
  if (found != statements_.end()) return {found->second.get(), file_};
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(handle_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  std::unique_ptr<sqlite3_stmt, Finalize> owned(statement);
  check(code, "a statement");
  if (statement == nullptr) fail(statementError, file_, u"the statement is empty.");
  statements_.emplace(std::string(sql), std::move(owned));
  return {statement, file_};
}

void Database::execute(std::string_view sql) {
  Statement statement = prepare(sql);
  while (statement.step()) {
  }
}

// Asked by the engine while somebody else's transaction is open. Most of them end at once; only the
// holder of the turn waits here, so it may look often at first.
int Database::onBusy(int attempt) {
  const auto now = std::chrono::steady_clock::now();
  if (attempt == 0 && !isBeginning_) deadline_ = now + ordinaryWait;  // a recovery, say: soon over
  if (now >= deadline_) return 0;
  constexpr int eagerAttempts = 200;
  if (attempt < eagerAttempts)
    std::this_thread::yield();
  else
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return 1;
}

bool Database::isUsable() const noexcept {
  return process_ == ::getpid() && !isSuspect_ &&
         (!inTransaction_ || sqlite3_get_autocommit(handle_.get()) == 0);
}

const FileDescriptor& Database::writersLock() const {
  if (lockFile_.get() < 0)
    fail(permissionDenied, file_, u"the file cannot be written; check its permissions.");
  return lockFile_;
}

// Whatever is written to a file without a name is lost.
void Database::mustBeThere() {
  struct stat now {};
  if (::stat(file_.c_str(), &now) == 0 && now.st_ino == opened_.st_ino && now.st_dev == opened_.st_dev)
    return;
  isSuspect_ = true;
  fail(E_FAIL, file_,
       u"the file has been removed or replaced since this process opened it; nothing was stored. Initialize "
       u"the "
       u"queue again, or restart the program.");
}

void Database::begin(Duration duration, std::optional<std::chrono::seconds> limit) {
  mustBeThere();
  if (isAwaitedInVain())
    fail(
        timeoutExpired, file_,
        u"another queue object of this thread has a transaction open, which this one would wait for in vain. "
        u"Commit or abort it first, or work through the queue object that began it.");
  const auto deadline = limit ? std::optional(std::chrono::steady_clock::now() + *limit) : std::nullopt;
  // Writers take turns: the lock is handed over in order, where the engine's own would let the same
  // one win again and again. Who has the turn while somebody's transaction is open passes it on soon,
  // so that everybody can keep an eye on the time.
  constexpr auto slice = std::chrono::milliseconds(10);
  while (!inTransaction_) {
    turn_.emplace(writersLock());
    const auto now = std::chrono::steady_clock::now();
    const bool isLast = deadline && *deadline <= now + slice;
    deadline_ = isLast ? std::max(*deadline, now + std::chrono::milliseconds(1)) : now + slice;
    isBeginning_ = true;
    try {
      inTransaction_ =
          prepare("BEGIN IMMEDIATE").tryStep(isLast ? Statement::Busy::Fails : Statement::Busy::Returns);
    } catch (...) {
      isBeginning_ = false;
      turn_.reset();
      throw;
    }
    isBeginning_ = false;
    if (inTransaction_) break;
    turn_.reset();
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  if (duration == Duration::Open) {
    // The engine's lock keeps writers out; who holds the turn now waits for it with a time limit.
    turn_.reset();
    isOpenEnded_ = true;
    noteTransaction(true);
  }
}

void Database::endTransaction() noexcept {
  inTransaction_ = false;
  turn_.reset();
  if (std::exchange(isOpenEnded_, false)) noteTransaction(false);
}

void Database::commit() {
  try {
    execute("COMMIT");
  } catch (...) {
    rollback();
    throw;
  }
  endTransaction();
  sync();  // also when nothing changed: what this one saw may be somebody's who died before the sync
}

void Database::sync() {
  sqlite3_file* log = nullptr;
  check(sqlite3_file_control(handle_.get(), "dbo", SQLITE_FCNTL_JOURNAL_POINTER, &log), "syncing the log");
  if (log == nullptr || log->pMethods == nullptr) return;
  const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL | SQLITE_SYNC_DATAONLY);
  if (code == SQLITE_OK) return;
  isSuspect_ = true;
  throw SyncFailed(
      E_FAIL, storeSource,
      u"The store \"" + shownPath(file_) +
          u"\": the log could not be synced: what was stored is there, but may not survive a power "
          u"failure. Check the disk.");
}

void Database::checkpoint() noexcept {
  sqlite3_wal_checkpoint_v2(handle_.get(), "dbo", SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
}

void Database::rollback() noexcept {
  if (!inTransaction_) return;
  if (sqlite3_get_autocommit(handle_.get()) == 0)
    sqlite3_exec(handle_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  endTransaction();
}

}  // namespace CorvaneQueue::platform_layer
