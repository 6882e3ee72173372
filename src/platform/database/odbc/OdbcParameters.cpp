#include "OdbcParameters.h"

#include "Dates.h"
#include "ParameterRules.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

namespace {

// The place of the first character that not every server can hold, or npos.
std::size_t uncarriedIn(std::u16string_view text) noexcept {
  const auto isHigh = [](char16_t c) { return c >= 0xD800 && c < 0xDC00; };
  const auto isLow = [](char16_t c) { return c >= 0xDC00 && c < 0xE000; };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == 0 || isLow(text[i])) return i;
    if (!isHigh(text[i])) continue;
    if (i + 1 == text.size() || !isLow(text[i + 1])) return i;
    ++i;
  }
  return text.npos;
}

SQL_TIMESTAMP_STRUCT timestampOf(Date date) noexcept {
  const Moment moment = momentOf(date);
  const Civil civil = civilOf(moment.day);
  SQL_TIMESTAMP_STRUCT time{};
  time.year = static_cast<SQLSMALLINT>(civil.year);
  time.month = static_cast<SQLUSMALLINT>(civil.month);
  time.day = static_cast<SQLUSMALLINT>(civil.day);
  time.hour = static_cast<SQLUSMALLINT>(moment.second / 3600);
  time.minute = static_cast<SQLUSMALLINT>(moment.second / 60 % 60);
  time.second = static_cast<SQLUSMALLINT>(moment.second % 60);
  return time;
}

std::u16string textOf(const SQL_TIMESTAMP_STRUCT& time) {
  const auto digits = [](int number, std::size_t count) {
    const std::u16string text = decimal(number);
    return std::u16string(count - std::min(count, text.size()), u'0') + text;
  };
  return digits(time.year, 4) + u"-" + digits(time.month, 2) + u"-" + digits(time.day, 2) + u" " +
         digits(time.hour, 2) + u":" + digits(time.minute, 2) + u":" + digits(time.second, 2);
}

}  // namespace

void mustBeCarried(std::u16string_view name, std::u16string_view text) {
  const auto at = uncarriedIn(text);
  if (at == text.npos) return;
  constexpr std::u16string_view digits = u"0123456789ABCDEF";
  std::u16string code = u"U+";
  for (int shift = 12; shift >= 0; shift -= 4) code += digits[(text[at] >> shift) & 0xF];
  throw Error(ErrorNumber::InvalidArgument, storeSource,
              u"The parameter \"" + std::u16string(name) + u"\" has " + code + u" at position " +
                  decimal(at + 1) + (text[at] == 0 ? u"" : u", half of a surrogate pair") +
                  u": a store on a database server cannot hold that character. Nothing was stored.");
}

OdbcParameters::OdbcParameters(std::span<Parameter> parameters, Outputs outputs) {
  for (Parameter& parameter : parameters) {
    const bool isInput = parameter.Direction == adParamInput;
    if (!isInput && outputs == Outputs::InRow) continue;
    if (isInput && parameter.Type == adVarWChar) {
      const auto& text = texts_.emplace_back(new BorrowedText(checkedText(parameter)));
      mustBeCarried(parameter.Name, text->view());
      addText(text->view(), static_cast<std::size_t>(parameter.Size));
      continue;
    }
    Bound& bound = bound_.emplace_back();
    if (parameter.Type == adInteger) bound.sqlType = SQL_INTEGER;
    if (parameter.Type == adSmallInt) bound.sqlType = SQL_SMALLINT;
    if (!isInput) {
      bound.output = &parameter;
      bound.direction = SQL_PARAM_OUTPUT;
      bound.length = SQL_NULL_DATA;
    } else if (parameter.Type == adDate) {
      constexpr SQLULEN characters = 19;
      bound.cType = SQL_C_TYPE_TIMESTAMP;
      bound.sqlType = SQL_TYPE_TIMESTAMP;
      bound.size = characters;
      bound.time = timestampOf(toDate(parameter.Value.get()));
      bound.length = sizeof bound.time;
    } else {
      bound.number = checkedNumber(parameter);
    }
  }
}

OdbcParameters::OdbcParameters(std::span<const std::u16string> texts) {
  for (const std::u16string& text : texts) addText(text, text.size());
}

void OdbcParameters::addText(std::u16string_view text, std::size_t most) {
  constexpr std::size_t longest = 4000;  // of an ordinary one
  Bound& bound = bound_.emplace_back();
  bound.cType = SQL_C_WCHAR;
  bound.sqlType = most > longest ? SQL_WLONGVARCHAR : SQL_WVARCHAR;
  bound.size = std::max<SQLULEN>(most, 1);
  bound.text = text.empty() ? std::u16string_view(u"") : text;
  bound.length = static_cast<SQLLEN>(text.size() * sizeof(char16_t));
}

void OdbcParameters::bindTo(const OdbcHandle& statement) {
  SQLUSMALLINT number = 0;
  for (Bound& bound : bound_) {
    SQLPOINTER value = &bound.number;
    if (bound.cType == SQL_C_WCHAR) value = wide(bound.text);
    if (bound.cType == SQL_C_TYPE_TIMESTAMP) value = &bound.time;
    statement.check(SQLBindParameter(statement.get(), ++number, bound.direction, bound.cType, bound.sqlType,
                                     bound.size, 0, value, bound.length, &bound.length));
  }
}

std::vector<std::u16string> OdbcParameters::asTexts() const {
  constexpr std::size_t longest = 16'000;
  std::size_t length = 0;
  for (const Bound& bound : bound_) length += bound.text.size();
  std::vector<std::u16string> texts;
  if (length > longest) return texts;
  for (const Bound& bound : bound_) {
    if (bound.direction != SQL_PARAM_INPUT) continue;
    if (bound.cType == SQL_C_WCHAR)
      texts.emplace_back(bound.text);
    else if (bound.cType == SQL_C_TYPE_TIMESTAMP)
      texts.push_back(textOf(bound.time));
    else
      texts.push_back(decimal(bound.number));
  }
  return texts;
}

void OdbcParameters::takeOutputs() {
  for (const Bound& bound : bound_)
    if (bound.output != nullptr && bound.length != SQL_NULL_DATA) bound.output->Value = Variant(bound.number);
}

}  // namespace CorvaneQueue::platform_layer
