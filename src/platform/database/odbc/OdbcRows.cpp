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
constexpr std::size_t longText = 256;  // units

Variant kept(std::string_view text, Texts texts);
Variant kept(std::u16string_view text, Texts texts) {
  if (texts == Texts::AtOnce || text.size() < longText) return String(text);
  return kept(std::string_view(toStored(text)), texts);
}

// UTF-8 of a server is that form.
Variant kept(std::string_view text, Texts texts) {
  if (texts == Texts::AtOnce || text.size() < longText) return fromStored(text);
  return Variant::bytes({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// In pieces; all but the last fill the buffer up to the terminator.
template <class Unit>
Variant textIn(const OdbcHandle& statement, SQLUSMALLINT column, Texts texts) {
  constexpr SQLSMALLINT type = sizeof(Unit) == 1 ? SQL_C_CHAR : SQL_C_WCHAR;
  std::array<Unit, 8192 / sizeof(Unit)> piece;
  std::basic_string<Unit> text;
  while (true) {
    SQLLEN length = 0;
    if (!statement.check(SQLGetData(statement.get(), column, type, piece.data(), sizeof piece, &length)))
      return kept(std::basic_string_view<Unit>(text), texts);
    if (length == SQL_NULL_DATA) return {};
    constexpr auto most = static_cast<SQLLEN>(sizeof piece - sizeof(Unit));
    const bool isLast = length != SQL_NO_TOTAL && length <= most;
    const auto count = static_cast<std::size_t>(isLast ? length : most) / sizeof(Unit);
    const std::basic_string_view<Unit> here(piece.data(), count);
    if (isLast && text.empty()) return kept(here, texts);
    if (!isLast && length != SQL_NO_TOTAL && text.empty())
      text.reserve(static_cast<std::size_t>(length) / sizeof(Unit));
    text += here;
    if (isLast) return kept(std::basic_string_view<Unit>(text), texts);
  }
}

}  // namespace

bool readRows(const OdbcHandle& statement, TextForm form, Texts texts, std::unique_ptr<RowsInMemory>& rows) {
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
      rows->add(kind == Kind::Number     ? numberIn(statement, column)
                : kind == Kind::Time     ? timeIn(statement, column)
                : form == TextForm::Utf8 ? textIn<char>(statement, column, texts)
                                         : textIn<char16_t>(statement, column, texts));
    }
  }
  return true;
}

}  // namespace CorvaneQueue::platform_layer
