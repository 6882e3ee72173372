#include <CorvaneQueue/String.h>

#include <cstdlib>
#include <limits>

namespace {
// The byte length stands in the four bytes before the first unit; eight keep the units aligned.
constexpr std::size_t headerSize = 8;
}  // namespace

namespace CorvaneQueue {
extern "C" {

BSTR SysAllocStringByteLen(const char* bytes, UINT length) noexcept {
  auto* block = static_cast<std::byte*>(std::malloc(headerSize + length + sizeof(OLECHAR)));
  if (block == nullptr) return nullptr;
  const std::uint32_t byteLength = length;
  std::memcpy(block + headerSize - sizeof byteLength, &byteLength, sizeof byteLength);
  std::byte* const units = block + headerSize;
  if (bytes != nullptr) std::memcpy(units, bytes, length);
  std::memset(units + length, 0, sizeof(OLECHAR));
  return reinterpret_cast<BSTR>(units);
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept {
  constexpr UINT longest = (std::numeric_limits<UINT>::max() - headerSize) / sizeof(OLECHAR);
  if (length > longest) return nullptr;
  return SysAllocStringByteLen(reinterpret_cast<const char*>(text),
                               length * static_cast<UINT>(sizeof(OLECHAR)));
}

BSTR SysAllocString(const OLECHAR* text) noexcept {
  if (text == nullptr) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(std::char_traits<OLECHAR>::length(text)));
}

void SysFreeString(BSTR text) noexcept {
  if (text != nullptr) std::free(reinterpret_cast<std::byte*>(text) - headerSize);
}

UINT SysStringByteLen(BSTR text) noexcept {
  if (text == nullptr) return 0;
  std::uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<const std::byte*>(text) - sizeof bytes, sizeof bytes);
  return bytes;
}

UINT SysStringLen(BSTR text) noexcept { return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR)); }

}  // extern "C"

}  // namespace CorvaneQueue
