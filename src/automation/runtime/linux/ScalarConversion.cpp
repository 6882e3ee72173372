#include "ScalarConversion.h"

#include "ConversionText.h"
#include "DateText.h"
#include "NumberText.h"

#include <CorvaneQueue/String.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace CorvaneQueue::conversion {

namespace {

std::string textIn(const VARIANT& v) { return trimmed(plainText(StringRef(v.bstrVal))); }

// Signed and unsigned numbers of one width are the same bits.
template <class To, class From>
To fitting(From value) {
  if (sizeof(To) != sizeof(From) && !std::in_range<To>(value)) overflow();
  return static_cast<To>(value);
}
template <class To>
To rounded(double value) {
  const double whole = std::nearbyint(value);  // halves to the even neighbour
  using Limits = std::numeric_limits<To>;
  if (!(whole >= static_cast<double>(Limits::min()) && whole < std::ldexp(1.0, Limits::digits))) overflow();
  return static_cast<To>(whole);
}
template <class To>
To wholeIn(const std::string& text) {
  std::uint64_t value = 0;
  if (bitsIn(text, value)) {
    using Bits = std::make_unsigned_t<To>;
    return static_cast<To>(fitting<Bits>(value));
  }
  const Number number = numberIn(text);
  value = number.magnitude();
  const std::uint64_t lowest = std::uint64_t{0} - static_cast<std::uint64_t>(std::numeric_limits<To>::min());
  if (value > (number.isNegative ? lowest : std::uint64_t{std::numeric_limits<To>::max()})) overflow();
  return static_cast<To>(number.isNegative ? std::uint64_t{0} - value : value);
}
double realIn(const std::string& text) {
  std::uint64_t bits = 0;
  return bitsIn(text, bits) ? static_cast<double>(bits) : numberIn(text).real();
}

template <class To>
To wholeOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_EMPTY: return 0;
    case VT_UI1: return fitting<To>(v.bVal);
    case VT_I2: return fitting<To>(v.iVal);
    case VT_UI2: return fitting<To>(v.uiVal);
    case VT_INT:
    case VT_I4: return fitting<To>(v.lVal);
    case VT_UINT:
    case VT_UI4: return fitting<To>(v.ulVal);
    case VT_I8: return fitting<To>(v.llVal);
    case VT_UI8: return fitting<To>(v.ullVal);
    case VT_BOOL: return static_cast<To>(v.boolVal);  // true is all bits
    case VT_R4: return rounded<To>(v.fltVal);
    case VT_R8: return rounded<To>(v.dblVal);
    case VT_DATE: return rounded<To>(v.date);
    case VT_BSTR: return wholeIn<To>(textIn(v));
    default: mismatch();
  }
}
double realOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_R4: return v.fltVal;
    case VT_R8: return v.dblVal;
    case VT_DATE: return v.date;
    case VT_BSTR: return realIn(textIn(v));
    case VT_UI8: return static_cast<double>(v.ullVal);
    default: return static_cast<double>(wholeOf<LONGLONG>(v));
  }
}
float smallRealOf(const VARIANT& v) {
  const auto value = static_cast<float>(realOf(v));
  if (std::isinf(value)) overflow();
  return value;
}
VARIANT_BOOL truthOf(const VARIANT& v) {
  if (v.vt == VT_BSTR) {
    const std::u16string_view text = StringRef(v.bstrVal);
    const std::string plain = plainText(text);
    if (plain == "TRUE" || text == u"#TRUE#") return VARIANT_TRUE;
    if (plain == "FALSE" || text == u"#FALSE#") return VARIANT_FALSE;
  }
  return realOf(v) != 0 ? VARIANT_TRUE : VARIANT_FALSE;
}
DATE dateOf(const VARIANT& v) {
  if (v.vt == VT_BSTR) return dateIn(textIn(v));
  const double date = realOf(v);
  if (!isDate(date)) overflow();
  return date;
}
std::string textOf(const VARIANT& v, USHORT flags) {
  switch (v.vt) {
    case VT_EMPTY: return {};
    case VT_BOOL:
      if ((flags & VARIANT_ALPHABOOL) == 0) return std::to_string(v.boolVal);
      return v.boolVal != VARIANT_FALSE ? "True" : "False";
    case VT_DATE: return dateText(v.date);
    case VT_R4: return realText(v.fltVal, 7);
    case VT_R8: return realText(v.dblVal, 15);
    case VT_UI8: return std::to_string(v.ullVal);
    default: return std::to_string(wholeOf<LONGLONG>(v));
  }
}

}  // namespace

bool isScalar(VARTYPE type) {
  switch (type) {
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_INT:
    case VT_I4:
    case VT_UINT:
    case VT_UI4:
    case VT_I8:
    case VT_UI8:
    case VT_R4:
    case VT_R8:
    case VT_BOOL:
    case VT_DATE:
    case VT_BSTR: return true;
    default: return false;
  }
}

void convert(VARIANT& result, const VARIANT& value, USHORT flags, VARTYPE type) {
  switch (type) {
    case VT_UI1: result.bVal = wholeOf<BYTE>(value); break;
    case VT_I2: result.iVal = wholeOf<SHORT>(value); break;
    case VT_UI2: result.uiVal = wholeOf<USHORT>(value); break;
    case VT_INT:
    case VT_I4: result.lVal = wholeOf<LONG>(value); break;
    case VT_UINT:
    case VT_UI4: result.ulVal = wholeOf<ULONG>(value); break;
    case VT_I8: result.llVal = wholeOf<LONGLONG>(value); break;
    case VT_UI8: result.ullVal = wholeOf<ULONGLONG>(value); break;
    case VT_R4: result.fltVal = smallRealOf(value); break;
    case VT_R8: result.dblVal = realOf(value); break;
    case VT_BOOL: result.boolVal = truthOf(value); break;
    case VT_DATE: result.date = dateOf(value); break;
    case VT_BSTR: {
      const std::string text = textOf(value, flags);
      result.bstrVal = String(std::u16string(text.begin(), text.end())).detach();
      break;
    }
    default: mismatch();
  }
  result.vt = type;
}

}  // namespace CorvaneQueue::conversion
