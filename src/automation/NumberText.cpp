#include "NumberText.h"

#include "ConversionText.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace CorvaneQueue::conversion {

namespace {

Number hexadecimalOrOctal(const std::string& text) {
  const int base = upper(text[1]) == 'H' ? 16 : 8;
  std::uint64_t value = 0;
  const char* first = text.data() + (base == 16 || upper(text[1]) == 'O' ? 2 : 1);
  const auto [end, error] = std::from_chars(first, text.data() + text.size(), value, base);
  if (error == std::errc::result_out_of_range) overflow();
  if (error != std::errc() || end != text.data() + text.size()) mismatch();
  return {static_cast<double>(value), static_cast<std::int64_t>(value), true};
}

}  // namespace

Number numberIn(std::u16string_view source) {
  std::string text = trimmed(asciiOf(source));
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

  std::string plain;
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
    if (plain.find("e-") == std::string::npos) overflow();
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

std::string realText(double value) {
  if (std::isinf(value)) return value < 0 ? "-1.#INF" : "1.#INF";
  if (std::isnan(value)) return "-1.#IND";
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.15G", value);
  return buffer;
}

}  // namespace CorvaneQueue::conversion
