#include "ParameterRules.h"

#include "StoredText.h"

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

std::int64_t numberWithin(const Parameter& parameter, std::int64_t least, std::int64_t most) {
  const VARIANT& value = parameter.Value.get();
  std::int64_t number = 0;
  bool fits = true;
  if (value.vt == VT_BSTR) {
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

BorrowedText checkedText(const Parameter& parameter) {
  const auto size = BorrowedText(parameter.Value.get()).view().size();
  if (size > static_cast<std::size_t>(parameter.Size))
    badParameter(parameter, ErrorNumber::InvalidArgument,
                 u"is too long: " + decimal(size) + u" characters, and at most " + decimal(parameter.Size) +
                     u" are allowed. Nothing was stored.");
  return BorrowedText(parameter.Value.get());
}

std::int64_t checkedNumber(const Parameter& parameter) {
  switch (parameter.Type) {
    case adInteger: return numberWithin(parameter, INT32_MIN, INT32_MAX);
    case adSmallInt: return numberWithin(parameter, INT16_MIN, INT16_MAX);
    default: return numberWithin(parameter, INT64_MIN, INT64_MAX);
  }
}

}  // namespace CorvaneQueue::platform_layer
