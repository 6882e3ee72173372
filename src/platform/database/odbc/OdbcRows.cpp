#include "OdbcRows.h"

#include "Dates.h"
#include "StoredText.h"

#include <array>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

enum class Kind { Number, Time, Text };

Kind kindOf(const OdbcHandle& statement, SQLUSMALLINT column) {
  SQLLEN type = 0;
  statement.check(
      SQLColAttributeW(statement.get(), column, SQL_DESC_CONCISE_TYPE, nullptr, 0, nullptr, &type));
  switch (type) {
    case SQL_BIGINT:
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT: return Kind::Number;
    case SQL_TYPE_TIMESTAMP:
    case SQL_TYPE_DATE: return Kind::Time;
    default: return Kind::Text;
  }
}

Variant numberIn(const OdbcHandle& statement, SQLUSMALLINT column) {
  std::int64_t number = 0;
  SQLLEN length = 0;
  statement.check(SQLGetData(statement.get(), column, SQL_C_SBIGINT, &number, sizeof number, &length));
  return length == SQL_NULL_DATA ? Variant() : Variant(number);
}

Variant timeIn(const OdbcHandle& statement, SQLUSMALLINT column) {
  SQL_TIMESTAMP_STRUCT time{};
  SQLLEN length = 0;
  statement.check(SQLGetData(statement.get(), column, SQL_C_TYPE_TIMESTAMP, &time, sizeof time, &length));
  if (length == SQL_NULL_DATA) return {};
  return dateOf(
      {dayNumber(time.year, time.month, time.day), time.hour * 3600 + time.minute * 60 + time.second});
}

// Long texts of a list are kept in their stored form: few of them are looked at.
Variant kept(std::u16string_view text, Texts texts) {
  constexpr std::size_t longText = 256;  // units
  if (texts == Texts::AtOnce || text.size() < longText) return String(text);
  const std::string stored = toStored(text);
  return Variant::bytes({reinterpret_cast<const std::uint8_t*>(stored.data()), stored.size()});
}

// In pieces; all but the last fill the buffer up to the terminator.
Variant textIn(const OdbcHandle& statement, SQLUSMALLINT column, Texts texts) {
  std::array<char16_t, 4096> piece;
  std::u16string text;
  while (true) {
    SQLLEN length = 0;
    if (!statement.check(
            SQLGetData(statement.get(), column, SQL_C_WCHAR, piece.data(), sizeof piece, &length)))
      return kept(text, texts);
    if (length == SQL_NULL_DATA) return {};
    constexpr auto most = static_cast<SQLLEN>(sizeof piece - sizeof(char16_t));
    const bool isLast = length != SQL_NO_TOTAL && length <= most;
    const auto count = static_cast<std::size_t>(isLast ? length : most) / sizeof(char16_t);
    if (isLast && text.empty()) return kept(std::u16string_view(piece.data(), count), texts);
    if (!isLast && length != SQL_NO_TOTAL && text.empty())
      text.reserve(static_cast<std::size_t>(length) / sizeof(char16_t));
    text.append(piece.data(), count);
    if (isLast) return kept(text, texts);
  }
}

}  // namespace

bool readRows(const OdbcHandle& statement, Texts texts, std::unique_ptr<RowsInMemory>& rows) {
  SQLSMALLINT columns = 0;
  statement.check(SQLNumResultCols(statement.get(), &columns));
  if (columns == 0) return false;
  std::vector<Kind> kinds;
  for (SQLSMALLINT i = 1; i <= columns; ++i) kinds.push_back(kindOf(statement, static_cast<SQLUSMALLINT>(i)));
  if (!rows) rows = std::make_unique<RowsInMemory>(kinds.size());
  while (statement.check(SQLFetch(statement.get()))) {
    SQLUSMALLINT column = 0;
    for (const Kind kind : kinds) {
      ++column;
      rows->add(kind == Kind::Number ? numberIn(statement, column)
                : kind == Kind::Time ? timeIn(statement, column)
                                     : textIn(statement, column, texts));
    }
  }
  return true;
}

}  // namespace CorvaneQueue::platform_layer
