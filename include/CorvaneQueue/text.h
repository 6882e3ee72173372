// Texts as arguments.
#pragma once

#include <CorvaneQueue/String.h>

namespace CorvaneQueue {

// A text on its way into a call, UTF-8 or UTF-16. A String is borrowed, the others are copied.
// Throws 5 for bytes that are not UTF-8.
class Text {
 public:
  Text(const char* utf8) : Text(std::string_view(utf8)) {}
  Text(std::string_view utf8) : owned_(fromUtf8(utf8)), text_(owned_.ref()) {}
  Text(const std::string& utf8) : Text(std::string_view(utf8)) {}
  Text(std::u8string_view utf8)
      : Text(std::string_view(reinterpret_cast<const char*>(utf8.data()), utf8.size())) {}
  Text(const char8_t* utf8) : Text(std::u8string_view(utf8)) {}
  Text(const char16_t* text) : Text(std::u16string_view(text)) {}
  Text(std::u16string_view text) : owned_(text), text_(owned_.ref()) {}
  Text(const std::u16string& text) : Text(std::u16string_view(text)) {}
  Text(StringRef text) noexcept : text_(text) {}
  Text(const String& text) noexcept : text_(text.ref()) {}
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  operator StringRef() const noexcept { return text_; }

 private:
  String owned_;
  StringRef text_;
};

}  // namespace CorvaneQueue
