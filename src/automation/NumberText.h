// Numbers as text, in English.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace CorvaneQueue::conversion {

// A number that was read: exact when it is whole and fits 64 bits.
struct Number {
  double real = 0;
  std::optional<std::int64_t> whole;
  bool isHexadecimal = false;
};
// Blanks around, one sign before or behind or parentheses for a negative, "$", thousands separators in the
// whole part, a fraction, an exponent; "&H" and "&O" for other bases. Throws 13 or 6.
Number numberIn(std::u16string_view text);
// Halves to the even neighbour. Throws 6.
std::int64_t roundedWhole(double value);
std::string realText(double value);

}  // namespace CorvaneQueue::conversion
