#include "CodePage.h"

#include "StoredText.h"

#include <CorvaneQueue/Error.h>

#include <iconv.h>
#include <algorithm>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

const iconv_t unknown = reinterpret_cast<iconv_t>(-1);  // NOLINT: the C library's mark

// Converts one character; returns the bytes written, or 0 when there is no counterpart.
template <std::size_t Size>
std::size_t convertOne(iconv_t converter, const char* from, std::size_t fromSize, char (&to)[Size]) {
  char* input = const_cast<char*>(from);  // NOLINT: the interface is older than const
  char* output = to;
  std::size_t left = Size;
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  const std::size_t result = iconv(converter, &input, &fromSize, &output, &left);
  return result == 0 && fromSize == 0 ? Size - left : 0;
}

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

CodePage::CodePage(std::int32_t number) : number_(number), toBytes_(unknown), toText_(unknown) {
  if (number == utf8) return;
  const std::string name = "CP" + std::to_string(number);
  toBytes_ = iconv_open(name.c_str(), "UTF-16LE");
  toText_ = iconv_open("UTF-16LE", name.c_str());
  if (toBytes_ != unknown && toText_ != unknown) {
    readTable();
    return;
  }
  if (toBytes_ != unknown) iconv_close(toBytes_);
  throw Error(ErrorNumber::InvalidArgument, {},
              u"There is no code page " + decimal(number) + u"; correct the setting CodePage.");
}

CodePage::~CodePage() {
  for (void* const converter : {toBytes_, toText_})
    if (converter != unknown) iconv_close(converter);
}

// The characters beyond ASCII that have one byte.
void CodePage::readTable() {
  for (int byte = 0x80; byte <= 0xFF; ++byte) {
    const char from = static_cast<char>(byte);
    char converted[8];
    if (convertOne(toText_, &from, 1, converted) != sizeof(char16_t)) continue;
    char16_t character;
    std::memcpy(&character, converted, sizeof character);
    char back[16];
    if (convertOne(toBytes_, converted, sizeof character, back) != 1 || back[0] != from) continue;
    characters_[static_cast<std::size_t>(byte)] = character;
    singleBytes_.emplace(character, static_cast<std::uint8_t>(byte));
  }
}

bool CodePage::appendBytes(std::u16string_view character, std::vector<std::uint8_t>& bytes) {
  if (const auto found = singleBytes_.find(character[0]); found != singleBytes_.end()) {
    bytes.push_back(found->second);
    return true;
  }
  char converted[16];
  const std::size_t size = convertOne(toBytes_, reinterpret_cast<const char*>(character.data()),
                                      character.size() * sizeof(char16_t), converted);
  char back[16];
  const char same = static_cast<char>(character[0]);
  const bool isBare = size == 0 && isBareByte(character[0]) && convertOne(toText_, &same, 1, back) == 0;
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
    char converted[sizeof units];
    const std::size_t written =
        convertOne(toText_, reinterpret_cast<const char*>(bytes.data()), size, converted);
    if (written == 0) continue;
    std::memcpy(units, converted, written);
    text.append(units, written / sizeof(char16_t));
    return size;
  }
  text += static_cast<char16_t>(bytes[0]);
  return 1;
}

namespace {
String ofUtf8(std::string_view bytes) {
  String text = String::ofLength(utf16Length(bytes));
  if (decodeUtf8(bytes, text.bstr(), Surrogates::Carried).valid) return text;
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
    std::ranges::copy(bytes, text.bstr());
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
