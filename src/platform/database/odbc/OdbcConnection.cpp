#include "OdbcConnection.h"

#include "Process.h"
#include "StoredText.h"

#include <array>

namespace CorvaneQueue::platform_layer {

namespace {

SQLPOINTER value(SQLULEN number) noexcept { return reinterpret_cast<SQLPOINTER>(number); }

// Closes the cursor of a statement when its rows have been read, also by a failure.
class Executed {
 public:
  explicit Executed(const OdbcHandle& statement) noexcept : statement_(statement) {}
  ~Executed() {
    SQLFreeStmt(statement_.get(), SQL_CLOSE);
    SQLFreeStmt(statement_.get(), SQL_RESET_PARAMS);
  }
  Executed(const Executed&) = delete;
  Executed& operator=(const Executed&) = delete;

 private:
  const OdbcHandle& statement_;
};

}  // namespace

OdbcConnection::OdbcConnection(const ServerPlace& place)
    : place_(place), dialect_(Dialect::of(place.engine)), process_(platform_layer::processNumber()) {
  environment_ = OdbcHandle(SQL_HANDLE_ENV, nullptr);
  environment_.check(
      SQLSetEnvAttr(environment_.get(), SQL_ATTR_ODBC_VERSION, value(SQL_OV_ODBC3), SQL_IS_UINTEGER));
  connection_ = OdbcHandle(SQL_HANDLE_DBC, environment_.get());
  constexpr SQLULEN seconds = 15;
  SQLSetConnectAttrW(connection_.get(), SQL_ATTR_LOGIN_TIMEOUT, value(seconds), SQL_IS_UINTEGER);
  const std::u16string text = dialect_.connectionString(place);
  std::array<char16_t, 2048> completed{};
  SQLSMALLINT length = 0;
  connection_.check(SQLDriverConnectW(
      connection_.get(), nullptr, wide(text), static_cast<SQLSMALLINT>(text.size()),
      reinterpret_cast<SQLWCHAR*>(completed.data()), completed.size(), &length, SQL_DRIVER_NOPROMPT));
  completed_ = completed.data();
  execute(dialect_.onConnect());
  if (givesUtf8()) form_ = TextForm::Utf8;
}

// Whether texts come as the server sends them when they are asked for as bytes: some drivers turn them into
// what the locale of the process has, or fail.
bool OdbcConnection::givesUtf8() {
  if (!dialect_.isUtf8()) return false;
  constexpr std::u16string_view sample = u"\u00E4\u20AC\U0001F600";
  try {
    form_ = TextForm::Utf8;
    OdbcParameters none{std::span<const std::u16string>()};
    const auto rows = run(u"SELECT '" + std::u16string(sample) + u"'", none, 0, Keep::No);
    form_ = TextForm::Utf16;
    return rows && rows->RecordCount() == 1 && toString(rows->Field(0).get()).view() == sample;
  } catch (const OdbcFailure&) {
  } catch (const Error&) {  // not UTF-8
  }
  form_ = TextForm::Utf16;
  return false;
}

OdbcConnection::~OdbcConnection() {
  if (isInherited()) {
    for (auto& [text, statement] : prepared_) statement.forget();
    executing_.forget();
    reading_.forget();
    connection_.forget();
    environment_.forget();
    return;
  }
  prepared_.clear();
}

void OdbcConnection::limit(const OdbcHandle& statement, std::int32_t seconds) {
  if (limit_ != seconds) {
    const std::u16string text = dialect_.timeLimit(seconds);
    if (!text.empty()) execute(text);
    limit_ = seconds;
  }
  if (dialect_.timeLimit(seconds).empty())
    SQLSetStmtAttrW(statement.get(), SQL_ATTR_QUERY_TIMEOUT, value(static_cast<SQLULEN>(seconds)),
                    SQL_IS_UINTEGER);
}

void OdbcConnection::execute(std::u16string_view sql) {
  const OdbcHandle& statement = made(executing_);
  const Executed executed(statement);
  statement.check(SQLExecDirectW(statement.get(), wide(sql), static_cast<SQLINTEGER>(sql.size())));
}

bool OdbcConnection::takesSenderKeys() {
  if (!takesSenderKeys_) {
    OdbcParameters none{std::span<const std::u16string>()};
    const auto rows = run(std::u16string(dialect_.takesSenderKeys()), none, 0, Keep::No);
    takesSenderKeys_ = rows && rows->RecordCount() > 0 && toInt64(rows->Field(0).get()) > 0;
  }
  return *takesSenderKeys_;
}

void OdbcConnection::undo(std::u16string_view sql) {
  limit_ = -1;  // which may have been set behind the mark
  execute(sql);
}

void OdbcConnection::run(const std::u16string& sql, OdbcParameters& parameters, std::int32_t seconds,
                         Keep keep, Texts texts, std::unique_ptr<RowsInMemory>& rows) {
  const bool isKept = keep == Keep::Yes;
  const auto [place, isNew] = isKept ? prepared_.try_emplace(sql) : std::pair(prepared_.end(), false);
  OdbcHandle& statement = isKept ? place->second : reading_;
  if (!isKept) made(statement);
  if (isNew) try {
      made(statement);
      statement.check(SQLPrepareW(statement.get(), wide(sql), static_cast<SQLINTEGER>(sql.size())));
    } catch (...) {
      prepared_.erase(place);
      throw;
    }
  limit(statement, seconds);
  const Executed executed(statement);
  parameters.bindTo(statement);
  statement.check(isKept ? SQLExecute(statement.get())
                         : SQLExecDirectW(statement.get(), wide(sql), static_cast<SQLINTEGER>(sql.size())));
  bool isRead = false;
  do {  // counts of rows stand before the rows
    isRead = isRead || readRows(statement, form_, texts, rows);
  } while (statement.check(SQLMoreResults(statement.get())));
  parameters.takeOutputs();
}

std::unique_ptr<RowsInMemory> OdbcConnection::list(std::u16string_view before, std::u16string text,
                                                   std::int32_t seconds) {
  const bool isAlone = !std::exchange(isInTransaction_, true);  // a cursor stands in a transaction
  if (isAlone) before = dialect_.begin();
  if (!before.empty()) text = std::u16string(before) + u"; " + text;
  OdbcParameters none{std::span<const std::u16string>()};
  std::unique_ptr<RowsInMemory> rows;
  std::int32_t had = 0;
  run(text, none, seconds, Keep::No, Texts::LongOnesStored, rows);
  while (rows && rows->RecordCount() == had + Dialect::fetched) {
    had = rows->RecordCount();
    run(dialect_.fetch(), none, seconds, Keep::No, Texts::LongOnesStored, rows);
  }
  execute(isAlone ? dialect_.commit() : dialect_.closeCursor());
  if (isAlone) isInTransaction_ = false;
  return rows;
}

std::unique_ptr<RowsInMemory> OdbcConnection::runTogether(std::u16string_view before,
                                                          std::u16string_view procedure,
                                                          std::span<const std::u16string> values,
                                                          std::int32_t seconds) {
  std::u16string text(before);
  auto named = named_.find(procedure);
  if (named == named_.end()) {
    // Behind its mark, so that it may fail as the call would.
    execute(before);
    text.clear();
    const std::u16string name = u"corvane_" + decimal(static_cast<std::int64_t>(named_.size()));
    execute(dialect_.prepareText(name, procedure, values.size()));
    named = named_.emplace(procedure, name).first;
  }
  if (!text.empty()) text += u"; ";
  OdbcParameters none{std::span<const std::u16string>()};
  return run(text + dialect_.executeText(named->second, values), none, seconds, Keep::No);
}

bool OdbcConnection::isInherited() const noexcept { return process_ != platform_layer::processNumber(); }

bool OdbcConnection::isAlive() const noexcept {
  SQLUINTEGER isDead = SQL_CD_TRUE;
  return SQL_SUCCEEDED(SQLGetConnectAttrW(connection_.get(), SQL_ATTR_CONNECTION_DEAD, &isDead,
                                          SQL_IS_UINTEGER, nullptr)) &&
         isDead == SQL_CD_FALSE;
}

bool OdbcConnection::clean() noexcept {
  if (isInherited()) return false;
  try {
    if (isInTransaction_ || dialect_.mayLeaveTransactions()) undo(dialect_.rollback());
    isInTransaction_ = false;
    return isAlive();
  } catch (const OdbcFailure&) {
    return false;
  }
}

}  // namespace CorvaneQueue::platform_layer
