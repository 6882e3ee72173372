#include "Rows.h"

#include "Dates.h"
#include "Text.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr std::size_t firstBlock = std::size_t{1} << 12;
constexpr std::size_t largestBlock = std::size_t{1} << 20;
}  // namespace

Rows::Rows(Statement& statement) : columnCount_(static_cast<std::size_t>(statement.columnCount())) {
  std::vector<bool> isDateTime;
  for (std::size_t i = 0; i < columnCount_; ++i)
    isDateTime.push_back(statement.declaredType(static_cast<int>(i)) == "DATETIME");
  while (statement.step()) {
    ++rowCount_;
    for (std::size_t i = 0; i < columnCount_; ++i) {
      const int column = static_cast<int>(i);
      Cell& cell = cells_.emplace_back();
      switch (statement.type(column)) {
        case Statement::Type::Null: break;
        case Statement::Type::Integer:
          cell.kind = Kind::Integer;
          cell.number = statement.integer(column);
          break;
        case Statement::Type::Real:
          cell.kind = Kind::Real;
          cell.number = std::bit_cast<std::int64_t>(statement.real(column));
          break;
        case Statement::Type::Text: {
          const std::string_view bytes = statement.text(column);
          cell.kind = isDateTime[i] ? Kind::DateTime : Kind::Text;
          cell.bytes = keep(bytes);
          cell.number = static_cast<std::int64_t>(bytes.size());
          break;
        }
      }
    }
  }
}

const char* Rows::keep(std::string_view bytes) {
  if (bytes.size() > freeSize_) {
    const std::size_t block = std::min(largestBlock, firstBlock << std::min<std::size_t>(blocks_.size(), 16));
    freeSize_ = bytes.size() > block / 4 ? bytes.size() : block;
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(freeSize_));
    free_ = blocks_.back().get();
  }
  char* place = free_;
  if (!bytes.empty()) std::memcpy(place, bytes.data(), bytes.size());
  free_ += bytes.size();
  freeSize_ -= bytes.size();
  return place;
}

std::int32_t Rows::RecordCount() const { return static_cast<std::int32_t>(rowCount_); }

void Rows::MoveNext() {
  if (EndOfFile()) throw Error(static_cast<std::int32_t>(0x800A0BCDu), {}, u"The record set is at its end.");
  ++current_;
}

Variant Rows::Field(std::int32_t position) const {
  if (EndOfFile())
    throw Error(static_cast<std::int32_t>(0x800A0BCDu), {}, u"The record set has no current record.");
  if (position < 0 || static_cast<std::size_t>(position) >= columnCount_)
    throw Error(static_cast<std::int32_t>(0x800A0CC1u), {},
                u"The record has no field " + decimal(position) + u".");
  const Cell& cell = cells_[current_ * columnCount_ + static_cast<std::size_t>(position)];
  const std::string_view bytes(cell.bytes, cell.bytes == nullptr ? 0 : static_cast<std::size_t>(cell.number));
  switch (cell.kind) {
    case Kind::Integer: return cell.number;
    case Kind::Real: return std::bit_cast<double>(cell.number);
    case Kind::Text: return fromStored(bytes);
    case Kind::DateTime: return fromStoredDate(bytes);
    case Kind::Null: break;
  }
  throw Error(94, {}, u"Invalid use of Null: field " + decimal(position) + u" of the record holds no value.");
}

std::string toStoredDate(Date date) {
  const Moment moment = momentOf(date);
  const Civil civil = civilOf(moment.day);
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", civil.year, civil.month, civil.day,
                moment.second / 3600, moment.second / 60 % 60, moment.second % 60);
  return buffer;
}

Date fromStoredDate(std::string_view text) {
  constexpr std::string_view shape = "0000-00-00 00:00:00";
  const auto number = [&](std::size_t at, std::size_t digits) {
    int value = 0;
    for (std::size_t i = at; i < at + digits; ++i) value = value * 10 + (text[i] - '0');
    return value;
  };
  const auto fits = [](char c, char wanted) { return wanted == '0' ? c >= '0' && c <= '9' : c == wanted; };
  if (!std::equal(text.begin(), text.end(), shape.begin(), shape.end(), fits))
    throw Error(ErrorNumber::TypeMismatch, {}, u"A stored time stamp is damaged.");
  return dateOf({dayNumber(number(0, 4), number(5, 2), number(8, 2)),
                 number(11, 2) * 3600 + number(14, 2) * 60 + number(17, 2)});
}

}  // namespace CorvaneQueue::platform_layer
