#include "StoredText.h"

#include "CaseFolding.inc"

#include <CorvaneQueue/Error.h>

#include <algorithm>
#include <iterator>

namespace CorvaneQueue {

namespace {

constexpr bool isHigh(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLow(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr char32_t combine(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// The length of the ASCII run at the start; block by block so that compilers vectorise it.
template <class Unit>
std::size_t asciiRun(const Unit* text, std::size_t size) noexcept {
  constexpr std::size_t block = 64;
  std::size_t i = 0;
  for (; i + block <= size; i += block) {
    std::uint32_t seen = 0;
    for (std::size_t k = 0; k < block; ++k)
      seen |= static_cast<std::make_unsigned_t<decltype(+text[0])>>(text[i + k]);
    if ((seen & ~0x7Fu) != 0) break;
  }
  while (i < size && (static_cast<std::uint32_t>(text[i]) & ~0x7Fu) == 0) ++i;
  return i;
}

char32_t foldOne(char32_t c) noexcept {
  if (c < 0x80) return c >= U'A' && c <= U'Z' ? c + 32 : c;
  const auto* end = std::end(caseFoldings);
  const auto* range =
      std::lower_bound(std::begin(caseFoldings), end, c,
                       [](const CaseFolding& row, char32_t value) { return row.last < value; });
  if (range == end || c < range->first || (c - range->first) % range->stride != 0) return c;
  return static_cast<char32_t>(static_cast<std::int32_t>(c) + range->delta);
}

// Characters that fold although they are lower case: variants of other letters (the long s, the final
// sigma), and Cherokee, which folds to its capitals.
constexpr char32_t foldedLowerCase[][2] = {
    {0xB5, 0xB5},     {0x17F, 0x17F},   {0x345, 0x345},  {0x3C2, 0x3C2},   {0x3D0, 0x3D1},
    {0x3D5, 0x3D6},   {0x3F0, 0x3F1},   {0x3F5, 0x3F5},  {0x13F8, 0x13FD}, {0x1C80, 0x1C88},
    {0x1E9B, 0x1E9B}, {0x1FBE, 0x1FBE}, {0xAB70, 0xABBF}};

char32_t lowerOne(char32_t c) noexcept {
  const auto holds = [c](const char32_t(&range)[2]) { return c >= range[0] && c <= range[1]; };
  return std::ranges::any_of(foldedLowerCase, holds) ? c : foldOne(c);
}

template <class Change>
void appendChanged(std::u16string& changed, std::u16string_view text, Change change) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (isHigh(c) && i + 1 < text.size() && isLow(text[i + 1])) c = combine(c, text[++i]);
    c = change(c);
    if (c >= 0x10000) {
      changed += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      c = 0xDC00 + ((c - 0x10000) & 0x3FF);
    }
    changed += static_cast<char16_t>(c);
  }
}

}  // namespace

std::size_t utf8Length(std::u16string_view text) noexcept {
  std::size_t bytes = asciiRun(text.data(), text.size());
  for (std::size_t i = bytes; i < text.size(); ++i) {
    bytes += 1u + (text[i] >= 0x80 ? 1u : 0u) + (text[i] >= 0x800 ? 1u : 0u);
    if (isLow(text[i]) && i > 0 && isHigh(text[i - 1])) bytes -= 2;  // a pair takes four
  }
  return bytes;
}

std::size_t encodeUtf8(std::u16string_view text, char* target, Surrogates surrogates) noexcept {
  char* out = target;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t run = asciiRun(text.data() + i, text.size() - i);
    for (std::size_t k = 0; k < run; ++k) out[k] = static_cast<char>(text[i + k]);
    out += run;
    i += run;
    while (i < text.size() && text[i] >= 0x80) {
      char32_t c = text[i++];
      if (isHigh(c) && i < text.size() && isLow(text[i]))
        c = combine(c, text[i++]);
      else if (surrogates == Surrogates::Refused && (isHigh(c) || isLow(c)))
        c = 0xFFFD;
      if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
      } else {
        if (c < 0x10000) {
          *out++ = static_cast<char>(0xE0 | (c >> 12));
        } else {
          *out++ = static_cast<char>(0xF0 | (c >> 18));
          *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        }
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      }
      *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return static_cast<std::size_t>(out - target);
}

std::size_t utf16Length(std::string_view text) noexcept {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t units = asciiRun(bytes, text.size());
  for (std::size_t i = units; i < text.size(); ++i) {
    // Every byte but a continuation starts a unit; four-byte forms take two.
    units += ((bytes[i] & 0xC0) != 0x80 ? 1u : 0u) + (bytes[i] >= 0xF0 ? 1u : 0u);
  }
  return units;
}

Decoded decodeUtf8(std::string_view text, char16_t* target, Surrogates surrogates) noexcept {
  const auto byteAt = [&](std::size_t at) -> char32_t { return static_cast<unsigned char>(text[at]); };
  bool afterLoneHigh = false;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t run =
        asciiRun(reinterpret_cast<const unsigned char*>(text.data()) + i, text.size() - i);
    for (std::size_t k = 0; k < run; ++k) target[k] = static_cast<unsigned char>(text[i + k]);
    target += run;
    i += run;
    if (run > 0) afterLoneHigh = false;
    if (i == text.size()) break;
    const char32_t lead = byteAt(i);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || i + length > text.size()) return {false, i};
    char32_t c = lead & (0x7Fu >> length);
    for (std::size_t k = 1; k < length; ++k) {
      if ((byteAt(i + k) & 0xC0) != 0x80) return {false, i};
      c = (c << 6) | (byteAt(i + k) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < smallest[length] || c > 0x10FFFF) return {false, i};
    if (isHigh(c) || isLow(c)) {
      if (surrogates == Surrogates::Refused || (isLow(c) && afterLoneHigh)) return {false, i};
    }
    afterLoneHigh = isHigh(c);
    if (c >= 0x10000) {
      *target++ = static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      *target++ = static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      *target++ = static_cast<char16_t>(c);
    }
    i += length;
  }
  return {true, i};
}

std::string toStored(std::u16string_view text) {
  const std::size_t run = asciiRun(text.data(), text.size());
  std::string bytes(run + utf8Bound(text.substr(run)), '\0');
  bytes.resize(encodeUtf8(text, bytes.data(), Surrogates::Carried));
  return bytes;
}

String fromStored(std::string_view bytes) {
  if (bytes.empty()) return {};
  const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
  if (asciiRun(first, bytes.size()) == bytes.size()) {
    String text = String::ofLength(bytes.size());
    std::copy(first, first + bytes.size(), text.units());
    return text;
  }
  String text = String::ofLength(utf16Length(bytes));
  if (!decodeUtf8(bytes, text.units(), Surrogates::Carried).valid)
    throw Error(ErrorNumber::TypeMismatch, {}, u"The stored bytes are not text.");
  return text;
}

std::filesystem::path fileNamed(std::u16string_view name) {
  const std::string bytes = toUtf8(name);
  return std::u8string(bytes.begin(), bytes.end());
}

std::u16string decimal(std::int64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

void appendFolded(std::u16string& folded, std::u16string_view text) { appendChanged(folded, text, foldOne); }

std::u16string foldCase(std::u16string_view text) {
  std::u16string folded;
  folded.reserve(text.size());
  appendFolded(folded, text);
  return folded;
}

std::u16string lowerCase(std::u16string_view text) {
  std::u16string lowered;
  appendChanged(lowered, text, lowerOne);
  return lowered;
}

}  // namespace CorvaneQueue
