// Conversion between text and the bytes of a code page.
#pragma once

#include <CorvaneQueue/String.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Thread-bound. ASCII passes through; characters of one byte stand in a table; the rest goes through the C
// library's converter.
class CodePage {
 public:
  // Throws an Error for a number that the C library does not know.
  explicit CodePage(std::int32_t number);
  ~CodePage();
  CodePage(const CodePage&) = delete;
  CodePage& operator=(const CodePage&) = delete;

  std::int32_t number() const noexcept { return number_; }
  // A character outside the code page becomes "?".
  std::vector<std::uint8_t> bytesOf(std::u16string_view text);
  // A byte without a character becomes the control of the same value, and back.
  String textOf(std::span<const std::uint8_t> bytes);

 private:
  void readTable();
  void appendBytes(std::u16string_view character, std::vector<std::uint8_t>& bytes);
  // Returns how many bytes the character has.
  std::size_t appendText(std::span<const std::uint8_t> bytes, std::u16string& text);

  std::int32_t number_;
  void* toBytes_;
  void* toText_;
  std::array<char16_t, 256> characters_{};  // by byte; 0 where a byte alone is none
  std::unordered_map<char16_t, std::uint8_t> singleBytes_;
};

}  // namespace CorvaneQueue::platform_layer
