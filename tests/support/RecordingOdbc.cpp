#include "RecordingOdbc.h"

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <cstring>
#include <map>

extern "C" RecordedOdbc* recordedOdbc() {
  static RecordedOdbc recorded;
  return &recorded;
}

namespace {

struct Bound {
  SQLSMALLINT direction, cType;
  SQLPOINTER value;
  SQLLEN* length;
};
struct Handle {
  std::string name;
  Handle* parent = nullptr;
  bool isDead = false;  // a connection
  OdbcAnswer failure{};
  std::string text{};  // of a statement
  std::map<SQLUSMALLINT, Bound> bound{};
  OdbcAnswer answer{};
  std::size_t row = 0;   // from 1 when one has been fetched
  std::size_t read = 0;  // of the field
};
Handle& of(SQLHANDLE handle) { return *static_cast<Handle*>(handle); }

void note(const std::string& line) { recordedOdbc()->transcript += line + "\n"; }

std::string shown(const SQLWCHAR* text, SQLLEN length) {
  std::string result;
  for (SQLLEN i = 0; length == SQL_NTS ? text[i] != 0 : i < length; ++i) {
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(text[i]));
    result += text[i] >= 32 && text[i] < 127 ? std::string(1, static_cast<char>(text[i])) : code;
  }
  return result;
}
std::string shown(const Bound& bound) {
  if (bound.direction != SQL_PARAM_INPUT) return "output";
  if (bound.cType == SQL_C_WCHAR)
    return "'" + shown(static_cast<const SQLWCHAR*>(bound.value), *bound.length / 2) + "'";
  if (bound.cType == SQL_C_SBIGINT) return std::to_string(*static_cast<const std::int64_t*>(bound.value));
  const auto& time = *static_cast<const SQL_TIMESTAMP_STRUCT*>(bound.value);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

SQLRETURN fail(Handle& handle, OdbcAnswer failure) {
  handle.failure = std::move(failure);
  return SQL_ERROR;
}

SQLRETURN executed(Handle& statement) {
  OdbcAnswer answer;
  auto& answers = recordedOdbc()->answers;
  for (auto each = answers.begin(); each != answers.end(); ++each)
    if (statement.text.find(each->to) != std::string::npos) {
      answer = *each;
      answers.erase(each);
      break;
    }
  if (statement.parent->isDead) answer = {"", "", {}, 0, "08S01", 0, "Communication link failure", true};
  statement.row = 0;
  if (answer.state.empty()) return statement.answer = std::move(answer), SQL_SUCCESS;
  note("  fails with " + answer.state + " " + std::to_string(answer.native));
  statement.parent->isDead = statement.parent->isDead || answer.isConnectionLost;
  return fail(statement, std::move(answer));
}

}  // namespace

extern "C" {

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE parent, SQLHANDLE* handle) {
  static int connections = 0;
  static int statements = 0;
  if (type == SQL_HANDLE_DBC && recordedOdbc()->transcript.empty()) connections = statements = 0;
  *handle = new Handle{type == SQL_HANDLE_ENV   ? "environment"
                       : type == SQL_HANDLE_DBC ? "connection " + std::to_string(++connections)
                                                : "statement " + std::to_string(++statements),
                       static_cast<Handle*>(parent)};
  ++recordedOdbc()->handles;
  return SQL_SUCCESS;
}
SQLRETURN SQLFreeHandle(SQLSMALLINT, SQLHANDLE handle) {
  delete static_cast<Handle*>(handle);
  --recordedOdbc()->handles;
  return SQL_SUCCESS;
}
SQLRETURN SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER) { return SQL_SUCCESS; }
SQLRETURN SQLSetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  note(of(handle).name + ": attribute " + std::to_string(attribute) + " = " +
       std::to_string(reinterpret_cast<SQLULEN>(value)));
  return SQL_SUCCESS;
}
SQLRETURN SQLGetConnectAttrW(SQLHDBC handle, SQLINTEGER, SQLPOINTER value, SQLINTEGER, SQLINTEGER*) {
  *static_cast<SQLUINTEGER*>(value) = of(handle).isDead ? SQL_CD_TRUE : SQL_CD_FALSE;
  return SQL_SUCCESS;
}
SQLRETURN SQLDriverConnectW(SQLHDBC handle, SQLHWND, SQLWCHAR* in, SQLSMALLINT length, SQLWCHAR* out,
                            SQLSMALLINT size, SQLSMALLINT* outLength, SQLUSMALLINT) {
  const std::string text = shown(in, length);
  note(of(handle).name + ": connect with " + text.substr(text.find(';') + 1));
  if (size > 0) *out = 0;
  if (outLength != nullptr) *outLength = 0;
  int& refused = recordedOdbc()->refusedConnections;
  if (refused <= 0) return SQL_SUCCESS;
  --refused;
  note("  fails with 08001");
  return fail(of(handle), {"", "", {}, 0, "08001", 17, "Unable to connect to data source"});
}
SQLRETURN SQLConnectW(SQLHDBC, SQLWCHAR*, SQLSMALLINT, SQLWCHAR*, SQLSMALLINT, SQLWCHAR*, SQLSMALLINT) {
  return SQL_ERROR;
}
SQLRETURN SQLDisconnect(SQLHDBC handle) {
  note(of(handle).name + ": disconnect");
  return SQL_SUCCESS;
}
SQLRETURN SQLGetInfoW(SQLHDBC, SQLUSMALLINT, SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT* length) {
  if (value != nullptr && size > 0) std::memset(value, 0, static_cast<std::size_t>(size));
  if (length != nullptr) *length = 0;
  return SQL_SUCCESS;
}

SQLRETURN SQLGetStmtAttrW(SQLHSTMT handle, SQLINTEGER, SQLPOINTER value, SQLINTEGER, SQLINTEGER*) {
  *static_cast<SQLPOINTER*>(value) = handle;  // the descriptors, which nobody uses
  return SQL_SUCCESS;
}
SQLRETURN SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER) {
  note(of(handle).name + ": attribute " + std::to_string(attribute) + " = " +
       std::to_string(reinterpret_cast<SQLULEN>(value)));
  return SQL_SUCCESS;
}
SQLRETURN SQLPrepareW(SQLHSTMT handle, SQLWCHAR* text, SQLINTEGER length) {
  of(handle).text = shown(text, length);
  note(of(handle).name + ": prepare " + of(handle).text);
  return SQL_SUCCESS;
}
SQLRETURN SQLExecDirectW(SQLHSTMT handle, SQLWCHAR* text, SQLINTEGER length) {
  of(handle).text = shown(text, length);
  std::string line = of(handle).text;
  for (const auto& [number, bound] : of(handle).bound) line += (number == 1 ? " with " : ", ") + shown(bound);
  note(of(handle).name + ": " + line);
  return executed(of(handle));
}
SQLRETURN SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT direction, SQLSMALLINT cType,
                           SQLSMALLINT sqlType, SQLULEN size, SQLSMALLINT, SQLPOINTER value, SQLLEN,
                           SQLLEN* length) {
  of(handle).bound[number] = {direction, cType, value, length};
  note("  parameter " + std::to_string(number) +
       (direction == SQL_PARAM_INPUT    ? " input"
        : direction == SQL_PARAM_OUTPUT ? " output"
                                        : " other") +
       ", of C type " + std::to_string(cType) + " as SQL type " + std::to_string(sqlType) + " (" +
       std::to_string(size) + ")");
  return SQL_SUCCESS;
}
SQLRETURN SQLExecute(SQLHSTMT handle) {
  std::string line = of(handle).name + ": execute";
  for (const auto& [number, bound] : of(handle).bound) line += (number == 1 ? " with " : ", ") + shown(bound);
  note(line);
  return executed(of(handle));
}
SQLRETURN SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
  *count = static_cast<SQLSMALLINT>(of(handle).answer.columns.size());
  return SQL_SUCCESS;
}
SQLRETURN SQLColAttributeW(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT, SQLPOINTER, SQLSMALLINT,
                           SQLSMALLINT*, SQLLEN* value) {
  const char kind = of(handle).answer.columns.at(column - 1u);
  *value = kind == 'n' ? SQL_BIGINT : kind == 't' ? SQL_TYPE_TIMESTAMP : SQL_WLONGVARCHAR;
  return SQL_SUCCESS;
}
SQLRETURN SQLFetch(SQLHSTMT handle) {
  of(handle).read = 0;
  return ++of(handle).row <= of(handle).answer.rows.size() ? SQL_SUCCESS : SQL_NO_DATA;
}
SQLRETURN SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                     SQLLEN* length) {
  const std::string& field = of(handle).answer.rows.at(of(handle).row - 1).at(column - 1u);
  if (cType == SQL_C_SBIGINT) {
    *static_cast<std::int64_t*>(value) = std::stoll(field);
    return SQL_SUCCESS;
  }
  if (cType == SQL_C_TYPE_TIMESTAMP) {
    SQL_TIMESTAMP_STRUCT time{};
    std::sscanf(field.c_str(), "%hd-%hu-%hu %hu:%hu:%hu", &time.year, &time.month, &time.day, &time.hour,
                &time.minute, &time.second);
    std::memcpy(value, &time, sizeof time);
    return SQL_SUCCESS;
  }
  // In pieces, as servers' drivers do with long texts: without telling how much is still to come.
  std::size_t& read = of(handle).read;
  const std::size_t room = static_cast<std::size_t>(size) / 2 - 1;
  const std::size_t count = std::min(room, field.size() - read);
  for (std::size_t i = 0; i < count; ++i)
    static_cast<SQLWCHAR*>(value)[i] = static_cast<unsigned char>(field[read + i]);
  static_cast<SQLWCHAR*>(value)[count] = 0;
  read += count;
  const bool isLast = read == field.size();
  *length = isLast ? static_cast<SQLLEN>(count * 2) : SQL_NO_TOTAL;
  if (isLast) read = 0;
  return isLast ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}
// Only behind the last rows are there outputs.
SQLRETURN SQLMoreResults(SQLHSTMT handle) {
  for (const auto& [number, bound] : of(handle).bound)
    if (bound.direction == SQL_PARAM_OUTPUT) {
      *static_cast<std::int64_t*>(bound.value) = of(handle).answer.output;
      *bound.length = sizeof(std::int64_t);
    }
  return SQL_NO_DATA;
}
SQLRETURN SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
  if (option == SQL_RESET_PARAMS) of(handle).bound.clear();
  if (option == SQL_CLOSE) of(handle).answer = {};
  return SQL_SUCCESS;
}
SQLRETURN SQLGetDiagFieldW(SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLSMALLINT, SQLPOINTER, SQLSMALLINT,
                           SQLSMALLINT*) {
  return SQL_NO_DATA;
}
SQLRETURN SQLGetDiagRecW(SQLSMALLINT, SQLHANDLE handle, SQLSMALLINT record, SQLWCHAR* state,
                         SQLINTEGER* native, SQLWCHAR* text, SQLSMALLINT size, SQLSMALLINT* length) {
  const OdbcAnswer& failure = of(handle).failure;
  if (record != 1 || failure.state.empty()) return SQL_NO_DATA;
  const auto copy = [](SQLWCHAR* to, const std::string& from) {
    std::size_t i = 0;
    for (; i < from.size(); ++i) to[i] = static_cast<unsigned char>(from[i]);
    to[i] = 0;
  };
  copy(state, failure.state);
  if (native != nullptr) *native = failure.native;
  if (text != nullptr && static_cast<std::size_t>(size) > failure.text.size()) copy(text, failure.text);
  if (length != nullptr) *length = static_cast<SQLSMALLINT>(failure.text.size());
  return SQL_SUCCESS;
}
}
