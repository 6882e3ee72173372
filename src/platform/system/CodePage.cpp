#include "CodePage.h"

#include "Text.h"

#include <CorvaneQueue/Error.h>

#include <iconv.h>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t utf8Number = 65001;
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

constexpr bool isControl(char16_t c) { return c >= 0x80 && c <= 0x9F; }

}  // namespace

CodePage::CodePage(std::int32_t number) : number_(number), toBytes_(unknown), toText_(unknown) {
  const std::string name = number == utf8Number ? "UTF-8" : "CP" + std::to_string(number);
  toBytes_ = iconv_open(name.c_str(), "UTF-16LE");
  toText_ = iconv_open("UTF-16LE", name.c_str());
  if (toBytes_ != unknown && toText_ != unknown) return;
  if (toBytes_ != unknown) iconv_close(toBytes_);
  throw Error(ErrorNumber::InvalidArgument, {},
              u"There is no code page " + decimal(number) + u"; correct the setting CodePage.");
}

CodePage::~CodePage() {
  iconv_close(toBytes_);
  iconv_close(toText_);
}

std::vector<std::uint8_t> CodePage::bytesOf(std::u16string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c < 0x80) {
      bytes.push_back(static_cast<std::uint8_t>(c));
      continue;
    }
    const bool isPair =
        c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
    char converted[16];
    const std::size_t size =
        convertOne(toBytes_, reinterpret_cast<const char*>(&text[i]), isPair ? 4 : 2, converted);
    char back[16];
    if (size > 0)
      bytes.insert(bytes.end(), converted, converted + size);
    else if (const char same = static_cast<char>(c); isControl(c) && convertOne(toText_, &same, 1, back) == 0)
      bytes.push_back(static_cast<std::uint8_t>(c));
    else
      bytes.push_back('?');
    if (isPair) ++i;
  }
  return bytes;
}

String CodePage::textOf(std::span<const std::uint8_t> bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  constexpr std::size_t longestCharacter = 4;
  for (std::size_t i = 0; i < bytes.size();) {
    if (bytes[i] < 0x80) {
      text += static_cast<char16_t>(bytes[i++]);
      continue;
    }
    std::size_t taken = 0;
    for (std::size_t size = 1; size <= longestCharacter && i + size <= bytes.size() && taken == 0; ++size) {
      char16_t units[8];
      char converted[sizeof units];
      const std::size_t written =
          convertOne(toText_, reinterpret_cast<const char*>(&bytes[i]), size, converted);
      if (written == 0) continue;
      std::memcpy(units, converted, written);
      text.append(units, written / sizeof(char16_t));
      taken = size;
    }
    if (taken == 0) {
      text += static_cast<char16_t>(bytes[i]);
      taken = 1;
    }
    i += taken;
  }
  return String(text);
}

}  // namespace CorvaneQueue::platform_layer
