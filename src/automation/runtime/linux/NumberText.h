// Numbers as text, in English.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace CorvaneQueue::conversion {

// A decimal number as it was written, so that no digit is lost before its type is known.
struct Number {
  std::string digits;      // without zeros in front
  std::int64_t point = 0;  // where it stands in the digits, or before or behind them
  bool isNegative = false;

  // Throws DISP_E_OVERFLOW.
  double real() const;
  // The whole number without its sign; halves to the even neighbour. Throws DISP_E_OVERFLOW.
  std::uint64_t magnitude() const;
};

// Whether the text is a number of another base, "&H1F" or "&O17", and which bits it has.
// Throws DISP_E_TYPEMISMATCH for wrong digits, DISP_E_OVERFLOW for more than 64 bits.
bool bitsIn(std::string_view text, std::uint64_t& bits);
// Digits with commas among them, a fraction, an exponent behind "E" or "D" where no "$" stands in front. On
// either side blanks and "$"; "+" and "-" once each; parentheses around it, for a negative. Throws
// DISP_E_TYPEMISMATCH.
Number numberIn(const std::string& text);
// With so many digits at most, in scientific form when the exponent is not within them.
std::string realText(double value, int digits);

}  // namespace CorvaneQueue::conversion
