#include "CodePage.h"

#include "StoredText.h"

#include <CorvaneQueue/Error.h>

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

// How many ASCII characters stand at the beginning.
std::size_t asciiRun(const auto& characters) {
  constexpr std::size_t block = 64;
  const auto isAscii = [](const auto& part) {
    std::uint32_t bits = 0;
    for (const auto each : part) bits |= each;
    return bits < 0x80;
  };
  const std::span all(characters.data(), characters.size());
  std::size_t run = 0;
  while (run + block <= all.size() && isAscii(all.subspan(run, block))) run += block;
  while (run < all.size() && all[run] < 0x80) ++run;
  return run;
}

// What a byte without a character has become.
constexpr bool isBareByte(char16_t c) { return c >= 0x80 && c <= 0xFF; }

}  // namespace

CodePage::CodePage(std::int32_t number) : number_(number) {
  if (number == utf8) return;
  if (!converter_.open(number))
    throw Error(ErrorNumber::InvalidArgument, {},
                u"There is no code page " + decimal(number) + u"; correct the setting CodePage.");
  readTable();
}

// The characters beyond ASCII that have one byte.
void CodePage::readTable() {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const char from[] = {static_cast<char>(byte)};
    char16_t units[4];
    if (converter_.toText(from, units) != 1) continue;
    char back[16];
    if (converter_.toBytes({units, 1}, back) != 1 || back[0] != from[0]) continue;
    characters_[static_cast<std::size_t>(byte)] = units[0];
    singleBytes_.emplace(units[0], static_cast<std::uint8_t>(byte));
  }
}

bool CodePage::appendBytes(std::u16string_view character, std::vector<std::uint8_t>& bytes) {
  if (const auto found = singleBytes_.find(character[0]); found != singleBytes_.end()) {
    bytes.push_back(found->second);
    return true;
  }
  char converted[16];
  const std::size_t size = converter_.toBytes(character, converted);
  char16_t back[8];
  const char same[] = {static_cast<char>(character[0])};
  const bool isBare = size == 0 && isBareByte(character[0]) && converter_.toText(same, back) == 0;
  if (size > 0)
    bytes.insert(bytes.end(), converted, converted + size);
  else
    bytes.push_back(isBare ? static_cast<std::uint8_t>(character[0]) : '?');
  return size > 0 || isBare;
}

std::vector<std::uint8_t> CodePage::bytesOf(std::u16string_view text, std::optional<std::size_t>& firstLost) {
  if (number_ == utf8) {
    std::vector<std::uint8_t> bytes(utf8Length(text));
    encodeUtf8(text, reinterpret_cast<char*>(bytes.data()), Surrogates::Carried);
    return bytes;
  }
  const std::size_t plain = asciiRun(text);
  std::vector<std::uint8_t> bytes(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(plain));
  if (plain < text.size()) bytes.reserve(text.size());
  for (std::size_t i = plain; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c < 0x80) {
      bytes.push_back(static_cast<std::uint8_t>(c));
      continue;
    }
    const bool isPair =
        c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
    if (!appendBytes(text.substr(i, isPair ? 2 : 1), bytes) && !firstLost) firstLost = i;
    if (isPair) ++i;
  }
  return bytes;
}

std::size_t CodePage::appendText(std::span<const std::uint8_t> bytes, std::u16string& text) {
  if (const char16_t single = characters_[bytes[0]]; single != 0) {
    text += single;
    return 1;
  }
  constexpr std::size_t longestCharacter = 4;
  for (std::size_t size = 1; size <= longestCharacter && size <= bytes.size(); ++size) {
    char16_t units[8];
    const std::size_t written = converter_.toText({reinterpret_cast<const char*>(bytes.data()), size}, units);
    if (written == 0) continue;
    text.append(units, written);
    return size;
  }
  text += static_cast<char16_t>(bytes[0]);
  return 1;
}

namespace {
String ofUtf8(std::string_view bytes) {
  String text = String::ofLength(utf16Length(bytes));
  if (decodeUtf8(bytes, text.units(), Surrogates::Carried).valid) return text;
  std::u16string units(bytes.size(), u'\0');
  std::size_t written = 0;
  while (true) {
    const auto [isValid, consumed] = decodeUtf8(bytes, units.data() + written, Surrogates::Carried);
    written += utf16Length(bytes.substr(0, consumed));
    if (isValid) break;
    units[written++] = static_cast<unsigned char>(bytes[consumed]);
    bytes.remove_prefix(consumed + 1);
  }
  units.resize(written);
  return String(units);
}
}  // namespace

String CodePage::textOf(std::span<const std::uint8_t> bytes) {
  if (number_ == utf8) return ofUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  const std::size_t plain = asciiRun(bytes);
  if (plain == bytes.size()) {
    String text = String::adopt(SysAllocStringLen(nullptr, static_cast<UINT>(plain)));
    if (text.bstr() == nullptr) throw std::bad_alloc();
    std::ranges::copy(bytes, text.units());
    return text;
  }
  std::u16string text(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(plain));
  text.reserve(bytes.size());
  for (std::size_t i = plain; i < bytes.size();) {
    if (bytes[i] < 0x80)
      text += static_cast<char16_t>(bytes[i++]);
    else
      i += appendText(bytes.subspan(i), text);
  }
  return String(text);
}

}  // namespace CorvaneQueue::platform_layer
