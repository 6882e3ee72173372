// Conversion between text and the bytes of a code page.
#pragma once

#include "CharacterConverter.h"

#include <CorvaneQueue/String.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Thread-bound. ASCII passes through; UTF-8 is converted as the stores do it, lone surrogates included; of
// any other code page, characters of one byte stand in a table, and the rest goes through the system's
// converter.
class CodePage {
 public:
  static constexpr std::int32_t utf8 = 65001;
  // Throws an Error for a number that the system does not know.
  explicit CodePage(std::int32_t number);
  CodePage(const CodePage&) = delete;
  CodePage& operator=(const CodePage&) = delete;

  std::int32_t number() const noexcept { return number_; }
  // A character outside the code page becomes "?"; `firstLost` is the unit of the text at which the first of
  // them stands.
  std::vector<std::uint8_t> bytesOf(std::u16string_view text, std::optional<std::size_t>& firstLost);
  // A byte without a character becomes the control of the same value; in a code page of single bytes, and
  // back.
  String textOf(std::span<const std::uint8_t> bytes);

 private:
  void readTable();
  // False when the character is lost.
  bool appendBytes(std::u16string_view character, std::vector<std::uint8_t>& bytes);
  // Returns how many bytes the character has.
  std::size_t appendText(std::span<const std::uint8_t> bytes, std::u16string& text);

  std::int32_t number_;
  CharacterConverter converter_;
  std::array<char16_t, 256> characters_{};  // by byte; 0 where a byte alone is none
  std::unordered_map<char16_t, std::uint8_t> singleBytes_;
};

}  // namespace CorvaneQueue::platform_layer
