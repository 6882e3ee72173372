// What the readers of numbers and dates share: text on its way into another type.
#pragma once

#include <CorvaneQueue/automation.h>

#include <string>
#include <string_view>

namespace CorvaneQueue::conversion {

// Why a value does not convert; caught where the conversion began.
struct Failure {
  HRESULT result;
};
[[noreturn]] inline void mismatch() { throw Failure{DISP_E_TYPEMISMATCH}; }
[[noreturn]] inline void overflow() { throw Failure{DISP_E_OVERFLOW}; }

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
inline bool isLetter(char c) { return c >= 'A' && c <= 'Z'; }
// The platform's blanks: control characters, the no-break one, those of typesetters, the ideographic one.
inline bool isBlank(char16_t c) {
  return c == ' ' || (c >= '\t' && c <= '\r') || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}
// In capitals up to the first zero, with a space for every blank. Other characters become '\x7F', which
// belongs to no number or date.
inline std::string plainText(std::u16string_view text) {
  std::string result;
  for (const char16_t c : text.substr(0, text.find(u'\0'))) {
    if (c >= u'a' && c <= u'z')
      result += static_cast<char>(c - 32);
    else
      result += isBlank(c) ? ' ' : c < 0x7F ? static_cast<char>(c) : '\x7F';
  }
  return result;
}
inline std::string trimmed(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  text.erase(0, text.find_first_not_of(' '));
  return text;
}

}  // namespace CorvaneQueue::conversion
