#include "Rows.h"

#include "Dates.h"
#include "RowsInMemory.h"
#include "StoredText.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t longText = 256;  // bytes
constexpr std::string_view dateShape = "0000-00-00 00:00:00";

// Of a list, long texts are kept as they are stored: few of them are looked at.
enum class Texts { AtOnce, LongOnesStored };

Variant cellOf(const Statement& statement, int column, bool isDateTime, Texts texts) {
  switch (statement.type(column)) {
    case Statement::Type::Integer: return statement.integer(column);
    case Statement::Type::Real: return statement.real(column);
    case Statement::Type::Text:
      if (isDateTime) return fromStoredDate(statement.text(column));
      if (const std::string_view text = statement.text(column);
          texts == Texts::LongOnesStored && text.size() >= longText)
        return Variant::bytes({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
      return fromStored(statement.text(column));
    case Statement::Type::Blob: return Variant::omitted();  // a damaged document's body
    case Statement::Type::Null: break;
  }
  return {};
}

}  // namespace

std::unique_ptr<Recordset> rowsOf(Statement& statement, From from) {
  const auto columnCount = static_cast<std::size_t>(statement.columnCount());
  auto rows = std::make_unique<RowsInMemory>(columnCount);
  std::vector<bool> isDateTime;
  for (std::size_t i = 0; i < columnCount; ++i)
    isDateTime.push_back(statement.declaredType(static_cast<int>(i)) == "DATETIME");
  Texts texts = Texts::AtOnce;  // of the first row: who receives a document wants that one
  for (bool isRow = from == From::CurrentRow || statement.step(); isRow; isRow = statement.step()) {
    for (std::size_t i = 0; i < columnCount; ++i)
      rows->add(cellOf(statement, static_cast<int>(i), isDateTime[i], texts));
    texts = Texts::LongOnesStored;
  }
  return rows;
}

std::string toStoredDate(Date date) {
  const Moment moment = momentOf(date);
  const Civil civil = civilOf(moment.day);
  std::string text(dateShape);
  const auto put = [&](std::size_t end, int value) {  // right-aligned, up to the mark before
    for (std::size_t i = end; i-- > 0 && dateShape[i] == '0'; value /= 10)
      text[i] = static_cast<char>('0' + value % 10);
  };
  put(4, civil.year);
  put(7, civil.month);
  put(10, civil.day);
  put(13, moment.second / 3600);
  put(16, moment.second / 60 % 60);
  put(19, moment.second % 60);
  return text;
}

Date fromStoredDate(std::string_view text) {
  const auto number = [&](std::size_t at, std::size_t digits) {
    int value = 0;
    for (std::size_t i = at; i < at + digits; ++i) value = value * 10 + (text[i] - '0');
    return value;
  };
  const auto fits = [](char c, char wanted) { return wanted == '0' ? c >= '0' && c <= '9' : c == wanted; };
  if (!std::equal(text.begin(), text.end(), dateShape.begin(), dateShape.end(), fits))
    throw Error(ErrorNumber::TypeMismatch, {}, u"A stored time stamp is damaged.");
  return dateOf({dayNumber(number(0, 4), number(5, 2), number(8, 2)),
                 number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2)});
}

}  // namespace CorvaneQueue::platform_layer
