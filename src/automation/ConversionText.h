// Text on its way into another type: what the readers of numbers and dates share.
#pragma once

#include <CorvaneQueue/Error.h>

#include <string>
#include <string_view>

namespace CorvaneQueue::conversion {

[[noreturn]] inline void mismatch() { throw Error::ofResult(DISP_E_TYPEMISMATCH); }
[[noreturn]] inline void overflow() { throw Error::ofResult(DISP_E_OVERFLOW); }

inline bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
inline char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
inline std::string trimmed(std::string text) {
  while (!text.empty() && isBlank(text.back())) text.pop_back();
  std::size_t start = 0;
  while (start < text.size() && isBlank(text[start])) ++start;
  return text.substr(start);
}
inline std::string upperCased(std::string text) {
  for (char& c : text) c = upper(c);
  return text;
}
// Other characters become '\x7F', which belongs to no number or date.
inline std::string asciiOf(std::u16string_view text) {
  std::string result;
  for (const char16_t c : text) result += c < 0x7F ? static_cast<char>(c) : '\x7F';
  return result;
}

}  // namespace CorvaneQueue::conversion
