#include "Parameters.h"

#include "Rows.h"
#include "Text.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

[[noreturn]] void badParameter(const Parameter& parameter, std::int32_t number, std::u16string_view what) {
  throw Error(number, storeSource,
              u"The parameter \"" + std::u16string(parameter.Name) + u"\" " + std::u16string(what));
}

std::u16string shownValue(const Parameter& parameter) {
  return u"\"" + std::u16string(toString(parameter.Value.get()).view()) + u"\".";
}

std::string textOf(const Parameter& parameter) {
  const BorrowedText text(parameter.Value.get());
  const std::size_t size = text.view().size();
  if (size > static_cast<std::size_t>(parameter.Size))
    badParameter(parameter, ErrorNumber::InvalidArgument,
                 u"is too long: " + decimal(size) + u" characters, and at most " + decimal(parameter.Size) +
                     u" are allowed. Nothing was stored.");
  return toStored(text.view());
}
std::int64_t numberOf(const Parameter& parameter, std::int64_t least, std::int64_t most) {
  const VARIANT& value = parameter.Value.get();
  std::int64_t number = 0;
  bool fits = true;
  if (value.vt == VT_BSTR) {
    // Digits, with a sign at the most: what the platform also takes for numbers ("1.6", "$2") is no
    // identifier.
    std::u16string_view digits = StringRef(value.bstrVal);
    const bool isNegative = digits.starts_with(u'-');
    if (isNegative) digits.remove_prefix(1);
    const auto isDigit = [](char16_t c) { return c >= u'0' && c <= u'9'; };
    if (digits.empty() || !std::ranges::all_of(digits, isDigit))
      badParameter(parameter, ErrorNumber::TypeMismatch,
                   u"must be a whole number, and is not: " + shownValue(parameter));
    for (const char16_t c : digits)
      fits = fits && !__builtin_mul_overflow(number, 10, &number) &&
             !__builtin_sub_overflow(number, c - u'0', &number);  // downwards: the least has no positive
    if (!isNegative) fits = fits && !__builtin_sub_overflow(0, number, &number);
  } else {
    number = toInt64(value);
  }
  if (!fits || number < least || number > most)
    badParameter(parameter, ErrorNumber::Overflow, u"is out of range: " + shownValue(parameter));
  return number;
}

}  // namespace

BoundParameters::BoundParameters(std::span<const Parameter> parameters) : values_(parameters.size()) {
  for (std::size_t i = 0; i < parameters.size(); ++i)
    if (parameters[i].Direction == adParamInput) values_[i] = converted(parameters[i]);
}

BoundParameters::Bound BoundParameters::converted(const Parameter& parameter) {
  Bound bound;
  switch (parameter.Type) {
    case adVarWChar: bound.isText = true, bound.text = textOf(parameter); break;
    case adDate: bound.isText = true, bound.text = toStoredDate(toDate(parameter.Value.get())); break;
    case adBigInt: bound.isNumber = true, bound.number = numberOf(parameter, INT64_MIN, INT64_MAX); break;
    case adInteger: bound.isNumber = true, bound.number = numberOf(parameter, INT32_MIN, INT32_MAX); break;
    case adSmallInt: bound.isNumber = true, bound.number = numberOf(parameter, INT16_MIN, INT16_MAX); break;
  }
  return bound;
}

void BoundParameters::bindTo(Statement& statement) const {
  for (int i = 0; i < statement.parameterCount(); ++i) {
    const Bound& value = values_.at(static_cast<std::size_t>(i));
    if (value.isText)
      statement.bindText(i + 1, value.text);
    else if (value.isNumber)
      statement.bind(i + 1, value.number);
    else
      statement.bindNull(i + 1);
  }
}

std::u16string BoundParameters::shown(std::size_t position) const {
  const Bound& value = values_.at(position);
  return value.isNumber ? decimal(value.number) : std::u16string(fromStored(value.text).view());
}

}  // namespace CorvaneQueue::platform_layer
