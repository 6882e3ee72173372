#include "CharacterConverter.h"

#include <windows.h>

namespace CorvaneQueue::platform_layer {

namespace {
UINT codePageOf(std::intptr_t native) noexcept { return static_cast<UINT>(native); }
}  // namespace

bool CharacterConverter::open(std::int32_t codePage) noexcept {
  CPINFO information;
  // 0 to 3 and 42 are not code pages but choices, which differ between machines.
  if (codePage <= 42 || ::GetCPInfo(static_cast<UINT>(codePage), &information) == 0) return false;
  toBytes_ = toText_ = codePage;
  return true;
}

CharacterConverter::~CharacterConverter() = default;

std::size_t CharacterConverter::toBytes(std::u16string_view character, std::span<char> bytes) const noexcept {
  BOOL isReplaced = FALSE;
  const int size = ::WideCharToMultiByte(
      codePageOf(toBytes_), WC_NO_BEST_FIT_CHARS, reinterpret_cast<const wchar_t*>(character.data()),
      static_cast<int>(character.size()), bytes.data(), static_cast<int>(bytes.size()), nullptr, &isReplaced);
  return isReplaced != 0 || size < 0 ? 0 : static_cast<std::size_t>(size);
}

std::size_t CharacterConverter::toText(std::span<const char> bytes,
                                       std::span<char16_t> units) const noexcept {
  const int size = ::MultiByteToWideChar(
      codePageOf(toText_), MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()),
      reinterpret_cast<wchar_t*>(units.data()), static_cast<int>(units.size()));
  return size < 0 ? 0 : static_cast<std::size_t>(size);
}

}  // namespace CorvaneQueue::platform_layer
