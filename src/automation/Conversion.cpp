// VariantChangeType by the platform's rules, locale 1033.
#include "Dates.h"
#include "Text.h"

#include <CorvaneQueue/Variant.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>

namespace CorvaneQueue {

namespace {

using Text = std::string;  // the ASCII of a string, other characters as '\x7F'

[[noreturn]] void mismatch() { throw DISP_E_TYPEMISMATCH; }
[[noreturn]] void overflow() { throw DISP_E_OVERFLOW; }

Text asciiOf(std::u16string_view text) {
  Text result;
  for (const char16_t c : text) result += c < 0x7F ? static_cast<char>(c) : '\x7F';
  return result;
}
bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
Text trimmed(Text text) {
  while (!text.empty() && isBlank(text.back())) text.pop_back();
  std::size_t start = 0;
  while (start < text.size() && isBlank(text[start])) ++start;
  return text.substr(start);
}
char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
Text upperCased(Text text) {
  for (char& c : text) c = upper(c);
  return text;
}
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A number as text: exact when it is whole and fits 64 bits.
struct Number {
  double real = 0;
  std::optional<std::int64_t> whole;
  bool isHexadecimal = false;
};

Number hexadecimalOrOctal(const Text& text) {
  const int base = upper(text[1]) == 'H' ? 16 : 8;
  std::uint64_t value = 0;
  const char* first = text.data() + (base == 16 || upper(text[1]) == 'O' ? 2 : 1);
  const auto [end, error] = std::from_chars(first, text.data() + text.size(), value, base);
  if (error == std::errc::result_out_of_range) overflow();
  if (error != std::errc() || end != text.data() + text.size()) mismatch();
  return {static_cast<double>(value), static_cast<std::int64_t>(value), true};
}

// Blanks around, one sign before or behind or parentheses for a negative, "$", thousands
// separators in the whole part, a fraction, an exponent; "&H" and "&O" for other bases.
Number numberIn(std::u16string_view source) {
  Text text = trimmed(asciiOf(source));
  if (text.size() > 1 && text[0] == '&') return hexadecimalOrOctal(text);
  bool negative = false;
  bool isSigned = false;
  if (text.size() > 2 && text.front() == '(' && text.back() == ')') {
    text = trimmed(text.substr(1, text.size() - 2));
    negative = isSigned = true;
  }
  const auto takeSign = [&](char c) {
    if (isSigned || (c != '-' && c != '+')) return false;
    negative = c == '-';
    return isSigned = true;
  };
  for (bool again = true; again && !text.empty();) {
    again = takeSign(text.front());
    bool currency = text.front() == '$';
    if (again || currency) text = trimmed(text.substr(1));
    again = again || currency;
  }
  if (!text.empty() && takeSign(text.back())) text = trimmed(text.substr(0, text.size() - 1));

  Text plain;
  if (negative) plain += '-';
  std::size_t i = 0;
  bool anyDigit = false;
  for (; i < text.size() && (isDigit(text[i]) || (text[i] == ',' && anyDigit)); ++i) {
    if (text[i] == ',') continue;
    plain += text[i];
    anyDigit = true;
  }
  const bool whole = i == text.size();
  if (i < text.size() && text[i] == '.') {
    if (!anyDigit) plain += '0';
    plain += text[i++];
    for (; i < text.size() && isDigit(text[i]); ++i) {
      plain += text[i];
      anyDigit = true;
    }
  }
  if (!anyDigit) mismatch();
  if (i < text.size() && (upper(text[i]) == 'E' || upper(text[i]) == 'D')) {
    plain += 'e';
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
      if (text[i] == '-') plain += '-';
      ++i;
    }
    if (i == text.size() || !isDigit(text[i])) mismatch();
    while (i < text.size() && isDigit(text[i])) plain += text[i++];
  }
  if (i != text.size()) mismatch();
  Number number;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), number.real);
  if (error == std::errc::result_out_of_range) {
    if (plain.find("e-") == Text::npos) overflow();
    number.real = 0;
  }
  std::int64_t exact = 0;
  if (whole && std::from_chars(plain.data(), plain.data() + plain.size(), exact).ec == std::errc())
    number.whole = exact;
  return number;
}

std::int64_t roundedWhole(double value) {
  if (std::isnan(value)) overflow();
  const double rounded = std::nearbyint(value);  // halves to the even neighbour
  if (rounded < -9223372036854775808.0 || rounded >= 9223372036854775808.0) overflow();
  return static_cast<std::int64_t>(rounded);
}

int daysInMonth(int year, int month) {
  constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return days[month - 1] + (month == 2 && leap ? 1 : 0);
}

constexpr double smallestDate = -657434.0;  // 0100-01-01
constexpr double dateEnd = 2958466.0;       // 10000-01-01
double checkedDate(double value) {
  if (!(value > smallestDate - 1 && value < dateEnd)) overflow();
  return value;
}

Text dateText(double date) {
  const Moment moment = momentOf({checkedDate(date)});
  char buffer[64];
  Text text;
  if (moment.day != 0 || moment.second == 0) {
    const Civil civil = civilOf(moment.day);
    if (moment.day != 0) {
      std::snprintf(buffer, sizeof buffer, "%d/%d/%04d", civil.month, civil.day, civil.year);
      text = buffer;
    }
  }
  if (moment.second != 0 || moment.day == 0) {
    const int hour = moment.second / 3600;
    std::snprintf(buffer, sizeof buffer, "%s%d:%02d:%02d %s", text.empty() ? "" : " ",
                  hour % 12 == 0 ? 12 : hour % 12, moment.second / 60 % 60, moment.second % 60,
                  hour < 12 ? "AM" : "PM");
    text += buffer;
  }
  return text;
}

// A date in English: month/day/year, year-month-day, a month by name; a time with or without AM, PM.
class DateReader {
 public:
  explicit DateReader(Text text) : text_(upperCased(std::move(text))) {}

  double read() {
    while (skipSeparators(), at_ < text_.size()) {
      if (isDigit(text_[at_]))
        readNumber();
      else
        readWord();
    }
    const int second = timeOfDay();
    if (dateParts_ == 0 && month_ == 0) {
      if (!hasTime_) mismatch();
      return second / 86400.0;
    }
    return dateOf({day(), second}).value;
  }

 private:
  void skipSeparators() {
    while (at_ < text_.size() && (isBlank(text_[at_]) || text_[at_] == '/' || text_[at_] == '-' ||
                                  text_[at_] == ',' || text_[at_] == 'T'))
      ++at_;
  }
  int digits() {
    const std::size_t start = at_;
    int value = 0;
    while (at_ < text_.size() && isDigit(text_[at_]) && at_ - start < 5)
      value = value * 10 + (text_[at_++] - '0');
    if (at_ == start || (at_ < text_.size() && isDigit(text_[at_]))) mismatch();
    lastWidth_ = at_ - start;
    return value;
  }
  void readNumber() {
    const int value = digits();
    if (at_ < text_.size() && text_[at_] == ':') {
      if (hasTime_) mismatch();
      hasTime_ = true;
      hour_ = value;
      ++at_;
      minute_ = digits();
      if (at_ < text_.size() && text_[at_] == ':') {
        ++at_;
        second_ = digits();
      }
      return;
    }
    if (dateParts_ == 3) mismatch();
    widths_[dateParts_] = lastWidth_;
    parts_[dateParts_++] = value;
  }
  void readWord() {
    Text word;
    while (at_ < text_.size() && text_[at_] >= 'A' && text_[at_] <= 'Z') word += text_[at_++];
    if (word.size() < 2) mismatch();
    if ((word == "AM" || word == "PM") && hasTime_ && half_ == 0) {
      half_ = word == "AM" ? 1 : 2;
      return;
    }
    constexpr const char* months[] = {"JANUARY", "FEBRUARY", "MARCH",     "APRIL",   "MAY",      "JUNE",
                                      "JULY",    "AUGUST",   "SEPTEMBER", "OCTOBER", "NOVEMBER", "DECEMBER"};
    for (int i = 0; i < 12 && month_ == 0; ++i)
      if (word.size() >= 3 && Text(months[i]).starts_with(word)) {
        month_ = i + 1;
        return;
      }
    mismatch();
  }
  int timeOfDay() {
    if (half_ != 0) {
      if (hour_ < 1 || hour_ > 12) mismatch();
      hour_ = hour_ % 12 + (half_ == 2 ? 12 : 0);
    }
    if (hour_ > 23 || minute_ > 59 || second_ > 59) mismatch();
    return hour_ * 3600 + minute_ * 60 + second_;
  }
  std::int64_t day() {
    int year = 0;
    int month = month_;
    int day = 0;
    std::size_t yearWidth = 0;
    if (month_ != 0) {
      if (dateParts_ != 2) mismatch();
      const std::size_t yearAt = widths_[0] > 2 ? 0 : 1;
      year = parts_[yearAt];
      yearWidth = widths_[yearAt];
      day = parts_[1 - yearAt];
    } else {
      if (dateParts_ != 3) mismatch();
      const bool yearFirst = widths_[0] > 2;
      year = parts_[yearFirst ? 0 : 2];
      yearWidth = widths_[yearFirst ? 0 : 2];
      month = parts_[yearFirst ? 1 : 0];
      day = parts_[yearFirst ? 2 : 1];
      if (!yearFirst && month > 12 && day <= 12) std::swap(month, day);
    }
    if (yearWidth <= 2) year += year < 30 ? 2000 : 1900;
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month))
      mismatch();
    return dayNumber(year, month, day);
  }

  Text text_;
  std::size_t at_ = 0;
  std::size_t lastWidth_ = 0;
  int parts_[3] = {};
  std::size_t widths_[3] = {};
  std::size_t dateParts_ = 0;
  int month_ = 0;
  bool hasTime_ = false;
  int hour_ = 0;
  int minute_ = 0;
  int second_ = 0;
  int half_ = 0;  // 1 AM, 2 PM
};

Text realText(double value) {
  if (std::isinf(value)) return value < 0 ? "-1.#INF" : "1.#INF";
  if (std::isnan(value)) return "-1.#IND";
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.15G", value);
  return buffer;
}

double realOf(const VARIANT& v);

std::int64_t wholeOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_EMPTY: return 0;
    case VT_UI1: return v.bVal;
    case VT_I2: return v.iVal;
    case VT_BOOL: return v.boolVal;
    case VT_UI2: return v.uiVal;
    case VT_INT:
    case VT_I4: return v.lVal;
    case VT_UINT:
    case VT_UI4: return v.ulVal;
    case VT_I8: return v.llVal;
    case VT_UI8:
      if (v.ullVal > static_cast<ULONGLONG>(INT64_MAX)) overflow();
      return static_cast<std::int64_t>(v.ullVal);
    case VT_BSTR: {
      const Number number = numberIn(StringRef(v.bstrVal));
      return number.whole ? *number.whole : roundedWhole(number.real);
    }
    default: return roundedWhole(realOf(v));
  }
}
double realOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_R4: return v.fltVal;
    case VT_R8: return v.dblVal;
    case VT_DATE: return v.date;
    case VT_BSTR: return numberIn(StringRef(v.bstrVal)).real;
    case VT_EMPTY:
    case VT_UI1:
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
    case VT_INT:
    case VT_I4:
    case VT_UINT:
    case VT_UI4:
    case VT_I8: return static_cast<double>(wholeOf(v));
    case VT_UI8: return static_cast<double>(v.ullVal);
    default: mismatch();
  }
}
bool truthOf(const VARIANT& v) {
  if (v.vt == VT_BSTR) {
    const Text text = upperCased(trimmed(asciiOf(StringRef(v.bstrVal))));
    if (text == "TRUE" || text == "#TRUE#") return true;
    if (text == "FALSE" || text == "#FALSE#") return false;
  }
  return realOf(v) != 0;
}
double dateIn(const VARIANT& v) {
  if (v.vt == VT_BSTR) return checkedDate(DateReader(trimmed(asciiOf(StringRef(v.bstrVal)))).read());
  return checkedDate(realOf(v));
}
template <class T>
T within(std::int64_t value) {
  if (value < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
      value > static_cast<std::int64_t>(std::numeric_limits<T>::max()))
    overflow();
  return static_cast<T>(value);
}
// In "&H" text the digits are the bits of the number: eight of them may make a negative one.
LONG longOf(const VARIANT& v) {
  const std::int64_t value = wholeOf(v);
  if (v.vt == VT_BSTR && value > INT32_MAX && value <= UINT32_MAX &&
      numberIn(StringRef(v.bstrVal)).isHexadecimal)
    return static_cast<LONG>(static_cast<std::uint32_t>(value));
  return within<LONG>(value);
}
Text textOf(const VARIANT& v, USHORT flags) {
  switch (v.vt) {
    case VT_EMPTY: return {};
    case VT_BOOL:
      if ((flags & VARIANT_ALPHABOOL) == 0) return std::to_string(v.boolVal);
      return v.boolVal != VARIANT_FALSE ? "True" : "False";
    case VT_DATE: return dateText(v.date);
    case VT_R4:
    case VT_R8: return realText(realOf(v));
    case VT_UI8: return std::to_string(v.ullVal);
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_INT:
    case VT_I4:
    case VT_UINT:
    case VT_UI4:
    case VT_I8: return std::to_string(wholeOf(v));
    default: mismatch();
  }
}

// The value of an object is that of its default member.
Variant defaultValueOf(IDispatch* object) {
  if (object == nullptr) throw E_POINTER;
  DISPPARAMS none{};
  Variant value;
  const HRESULT result = object->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                        &none, value.address(), nullptr, nullptr);
  if (FAILED(result)) mismatch();
  return value;
}

void change(VARIANT& result, const VARIANT& v, USHORT flags, VARTYPE type) {
  switch (type) {
    case VT_UI1: result.bVal = within<BYTE>(wholeOf(v)); break;
    case VT_I2: result.iVal = within<SHORT>(wholeOf(v)); break;
    case VT_UI2: result.uiVal = within<USHORT>(wholeOf(v)); break;
    case VT_INT:
    case VT_I4: result.lVal = longOf(v); break;
    case VT_UINT:
    case VT_UI4: result.ulVal = within<ULONG>(wholeOf(v)); break;
    case VT_I8: result.llVal = wholeOf(v); break;
    case VT_UI8: result.ullVal = static_cast<ULONGLONG>(within<std::int64_t>(wholeOf(v))); break;
    case VT_R4: result.fltVal = static_cast<float>(realOf(v)); break;
    case VT_R8: result.dblVal = realOf(v); break;
    case VT_BOOL: result.boolVal = truthOf(v) ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_DATE: result.date = dateIn(v); break;
    case VT_BSTR: {
      const Text text = textOf(v, flags);
      result.bstrVal = String(std::u16string(text.begin(), text.end())).detach();
      break;
    }
    default: mismatch();
  }
  result.vt = type;
}

}  // namespace

}  // namespace CorvaneQueue

extern "C" HRESULT VariantChangeType(VARIANTARG* target, const VARIANTARG* source, USHORT flags,
                                     VARTYPE type) noexcept {
  using namespace CorvaneQueue;
  VARIANT plain;
  VariantInit(&plain);
  HRESULT result = S_OK;
  const VARIANT* from = source;
  if ((source->vt & VT_BYREF) != 0) {
    result = VariantCopyInd(&plain, source);
    from = &plain;
  }
  Variant changed;
  if (FAILED(result)) {
    // nothing to convert
  } else if (from->vt == type) {
    result = VariantCopy(changed.address(), from);
  } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    if (from->vt == VT_DISPATCH || from->vt == VT_UNKNOWN) {
      void* object = nullptr;
      if (from->punkVal != nullptr)
        result = from->punkVal->QueryInterface(type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &object);
      changed.address()->punkVal = static_cast<IUnknown*>(object);
      changed.address()->vt = type;
    } else {
      result = DISP_E_TYPEMISMATCH;
    }
  } else {
    try {
      if (from->vt == VT_DISPATCH) {
        const Variant value = defaultValueOf(from->pdispVal);
        result = value.type() == VT_DISPATCH
                     ? DISP_E_TYPEMISMATCH
                     : VariantChangeType(changed.address(), &value.get(), flags, type);
      } else {
        change(*changed.address(), *from, flags, type);
      }
    } catch (HRESULT failure) {
      result = failure;
    } catch (...) {
      result = E_OUTOFMEMORY;
    }
  }
  if (SUCCEEDED(result)) {
    VARIANT value = changed.detach();
    VariantClear(target);
    *target = value;
  }
  VariantClear(&plain);
  return result;
}
