#include "Statement.h"

#include <sqlite3.h>

namespace CorvaneQueue::platform_layer {

Statement::~Statement() {
  if (statement_ == nullptr) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

void Statement::check(int code, const char* tried) const {
  if (code != SQLITE_OK) file_->failFor(sqlite3_db_handle(statement_), code, tried);
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
  if (code != SQLITE_DONE) file_->failFor(sqlite3_db_handle(statement_), code, "a statement");
  return false;
}
void Statement::reset() noexcept { sqlite3_reset(statement_); }
int Statement::columnCount() const noexcept { return sqlite3_column_count(statement_); }
Statement::Type Statement::type(int column) const noexcept {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_NULL: return Type::Null;
    case SQLITE_INTEGER: return Type::Integer;
    case SQLITE_FLOAT: return Type::Real;
    case SQLITE_BLOB: return Type::Blob;
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
  if (bytes == nullptr) file_->failFor(sqlite3_db_handle(statement_), SQLITE_NOMEM, "reading");
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}
std::span<const std::uint8_t> Statement::blob(int column) const {
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  if (bytes == nullptr && size > 0) file_->failFor(sqlite3_db_handle(statement_), SQLITE_NOMEM, "reading");
  return {bytes, size};
}

}  // namespace CorvaneQueue::platform_layer
