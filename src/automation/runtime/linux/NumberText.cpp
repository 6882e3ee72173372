#include "NumberText.h"

#include "ConversionText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace CorvaneQueue::conversion {

namespace {

class NumberReader {
 public:
  explicit NumberReader(const std::string& text) : text_(text) {}

  Number read() {
    const bool isCurrency = signs('(');
    wholeAndFraction();
    if (!isCurrency) exponent();
    signs(')');
    if (at_ != text_.size() || seen('(') != seen(')')) mismatch();
    number_.isNegative = seen('-') || seen('(');
    return number_;
  }

 private:
  bool more() const { return at_ < text_.size(); }
  bool take(char c) {
    if (!more() || text_[at_] != c) return false;
    ++at_;
    return true;
  }
  bool seen(char sign) const { return signs_.find(sign) != std::string::npos; }
  // What stands on one side of the digits, and whether "$" is among it.
  bool signs(char parenthesis) {
    bool isCurrency = false;
    for (; more(); ++at_) {
      const char c = text_[at_];
      if (c == '$' && !isCurrency)
        isCurrency = true;
      else if ((c == '+' || c == '-' || c == parenthesis) && !seen(c))
        signs_ += c;
      else if (c != ' ')
        break;
    }
    return isCurrency;
  }
  void wholeAndFraction() {
    bool anyDigit = false;
    bool inFraction = false;
    for (; more(); ++at_) {
      const char c = text_[at_];
      if (isDigit(c)) {
        anyDigit = true;
        if (!inFraction && (c != '0' || !number_.digits.empty())) ++number_.point;
        if (inFraction && c == '0' && number_.digits.empty())
          --number_.point;
        else if (c != '0' || !number_.digits.empty())
          number_.digits += c;
      } else if (c == '.' && !inFraction) {
        inFraction = true;
      } else if (c != ',' || !anyDigit) {
        break;
      }
    }
    if (!anyDigit) mismatch();
  }
  void exponent() {
    if (!take('E') && !take('D')) return;
    const bool isNegative = take('-');
    if (!isNegative) take('+');
    if (!more() || !isDigit(text_[at_])) mismatch();
    std::int64_t value = 0;
    constexpr std::int64_t beyondAnyType = 1'000'000'000;
    for (; more() && isDigit(text_[at_]); ++at_)
      value = std::min(value * 10 + (text_[at_] - '0'), beyondAnyType);
    number_.point += isNegative ? -value : value;
  }

  const std::string& text_;
  std::size_t at_ = 0;
  std::string signs_;  // but "$"
  Number number_;
};

}  // namespace

double Number::real() const {
  const std::string plain = (isNegative ? "-0." : "0.") + digits + "0E" + std::to_string(point);
  double value = 0;
  if (std::from_chars(plain.data(), plain.data() + plain.size(), value).ec ==
      std::errc::result_out_of_range) {
    if (point > 0) overflow();
    return 0;
  }
  return value;
}

std::uint64_t Number::magnitude() const {
  if (digits.empty() || point < 0) return 0;
  constexpr std::int64_t mostDigits = 20;
  if (point > mostDigits) overflow();
  const auto before = static_cast<std::size_t>(point);
  std::string whole = digits.substr(0, before);
  whole.resize(before, '0');
  std::uint64_t value = 0;
  if (!whole.empty() &&
      std::from_chars(whole.data(), whole.data() + whole.size(), value).ec == std::errc::result_out_of_range)
    overflow();
  if (digits.size() <= before || digits[before] < '5') return value;
  const bool isHalf = digits[before] == '5' && digits.find_first_not_of('0', before + 1) == std::string::npos;
  if (isHalf && value % 2 == 0) return value;
  if (++value == 0) overflow();
  return value;
}

bool bitsIn(std::string_view text, std::uint64_t& bits) {
  if (text.size() < 2 || text[0] != '&' || (text[1] != 'H' && text[1] != 'O')) return false;
  const auto [end, error] =
      std::from_chars(text.data() + 2, text.data() + text.size(), bits, text[1] == 'H' ? 16 : 8);
  if (error == std::errc::result_out_of_range) overflow();
  if (error != std::errc() || end != text.data() + text.size()) mismatch();
  return true;
}

Number numberIn(const std::string& text) { return NumberReader(text).read(); }

std::string realText(double value, int digits) {
  if (std::isinf(value)) return value < 0 ? "-1.#INF" : "1.#INF";
  if (std::isnan(value)) return "-1.#IND";
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.*G", digits, value == 0 ? 0.0 : value);  // no "-0"
  return buffer;
}

}  // namespace CorvaneQueue::conversion
