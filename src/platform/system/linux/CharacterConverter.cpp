#include "CharacterConverter.h"

#include <iconv.h>
#include <string>

namespace CorvaneQueue::platform_layer {

namespace {

iconv_t converterOf(std::intptr_t native) noexcept { return reinterpret_cast<iconv_t>(native); }

// Returns the bytes written, or 0 when there is no counterpart.
std::size_t convertOne(iconv_t converter, const char* from, std::size_t fromSize,
                       std::span<char> to) noexcept {
  char* input = const_cast<char*>(from);  // NOLINT: the interface is older than const
  char* output = to.data();
  std::size_t left = to.size();
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  const std::size_t result = iconv(converter, &input, &fromSize, &output, &left);
  return result == 0 && fromSize == 0 ? to.size() - left : 0;
}

}  // namespace

bool CharacterConverter::open(std::int32_t codePage) noexcept {
  const std::string name = "CP" + std::to_string(codePage);
  toBytes_ = reinterpret_cast<std::intptr_t>(iconv_open(name.c_str(), "UTF-16LE"));
  toText_ = reinterpret_cast<std::intptr_t>(iconv_open("UTF-16LE", name.c_str()));
  return toBytes_ != none && toText_ != none;
}

CharacterConverter::~CharacterConverter() {
  for (const std::intptr_t converter : {toBytes_, toText_})
    if (converter != none) iconv_close(converterOf(converter));
}

std::size_t CharacterConverter::toBytes(std::u16string_view character, std::span<char> bytes) const noexcept {
  return convertOne(converterOf(toBytes_), reinterpret_cast<const char*>(character.data()),
                    character.size() * sizeof(char16_t), bytes);
}

std::size_t CharacterConverter::toText(std::span<const char> bytes,
                                       std::span<char16_t> units) const noexcept {
  return convertOne(converterOf(toText_), bytes.data(), bytes.size(),
                    {reinterpret_cast<char*>(units.data()), units.size_bytes()}) /
         sizeof(char16_t);
}

}  // namespace CorvaneQueue::platform_layer
