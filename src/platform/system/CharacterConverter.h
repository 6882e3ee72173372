// The system's tables of code pages, a character at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// Thread-bound.
class CharacterConverter {
 public:
  // Of no code page.
  CharacterConverter() noexcept = default;
  ~CharacterConverter();
  CharacterConverter(const CharacterConverter&) = delete;
  CharacterConverter& operator=(const CharacterConverter&) = delete;
  // False for a number that the system does not know.
  bool open(std::int32_t codePage) noexcept;

  // One character, of one or two units. Returns how many bytes it has; 0 when it has no counterpart.
  std::size_t toBytes(std::u16string_view character, std::span<char> bytes) const noexcept;
  // One character, of all these bytes. Returns how many units it has; 0 when they are none.
  std::size_t toText(std::span<const char> bytes, std::span<char16_t> units) const noexcept;

 private:
  std::intptr_t toBytes_ = none;
  std::intptr_t toText_ = none;
  static constexpr std::intptr_t none = -1;
};

}  // namespace CorvaneQueue::platform_layer
