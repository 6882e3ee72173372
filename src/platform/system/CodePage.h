// Conversion between text and the bytes of a code page.
#pragma once

#include <CorvaneQueue/String.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Thread-bound. ASCII passes through; the rest goes through the C library's converter.
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
  std::int32_t number_;
  void* toBytes_;
  void* toText_;
};

}  // namespace CorvaneQueue::platform_layer
