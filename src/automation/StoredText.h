// Text as the stores keep it: UTF-8 in which a lone surrogate is carried as its own three bytes, so
// that any sequence of 16-bit units comes back unchanged.
#pragma once

#include <CorvaneQueue/String.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace CorvaneQueue {

enum class Surrogates { Carried, Refused };

// An upper bound of the bytes that the text takes.
constexpr std::size_t utf8Bound(std::u16string_view text) noexcept { return text.size() * 3; }
// The bytes that it takes, surrogates carried.
std::size_t utf8Length(std::u16string_view text) noexcept;
// Writes at most utf8Bound bytes and returns how many. Refused surrogates become U+FFFD.
std::size_t encodeUtf8(std::u16string_view text, char* target, Surrogates surrogates) noexcept;
// The number of 16-bit units of valid text.
std::size_t utf16Length(std::string_view text) noexcept;
struct Decoded {
  bool valid;
  std::size_t consumed;  // on failure the offset of the first bad byte
};
// Writes utf16Length units at most. Refuses overlong forms, values over U+10FFFF and, with
// surrogates carried, a pair written as two surrogates (it has a shorter form).
Decoded decodeUtf8(std::string_view text, char16_t* target, Surrogates surrogates) noexcept;

// The stored form of a text and back; `fromStored` throws error 13 for bytes that are not that form.
std::string toStored(std::u16string_view text);
String fromStored(std::string_view bytes);

// The file of a name that people gave.
std::filesystem::path fileNamed(std::u16string_view name);

std::u16string decimal(std::int64_t number);
inline std::u16string decimal(std::size_t number) { return decimal(static_cast<std::int64_t>(number)); }
inline std::u16string decimal(std::int32_t number) { return decimal(static_cast<std::int64_t>(number)); }

// Simple case folding of all of Unicode: texts that differ only in letter case fold to the same.
std::u16string foldCase(std::u16string_view text);
// Simple lower case of all of Unicode: unlike folding it leaves alone what is lower case already.
std::u16string lowerCase(std::u16string_view text);
void appendFolded(std::u16string& folded, std::u16string_view text);

}  // namespace CorvaneQueue
