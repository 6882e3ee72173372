#include "File.h"

#include <system_error>

namespace CorvaneQueue::platform_layer {

std::u16string shownBytes(std::string_view bytes) {
  try {
    return std::u16string(fromUtf8(bytes).view());
  } catch (const Error&) {
    std::u16string shown;
    for (const char c : bytes)
      shown += static_cast<unsigned char>(c) < 0x80 ? static_cast<char16_t>(c) : u'?';
    return shown;
  }
}

void throwFileError(std::u16string_view tried, const std::filesystem::path& file, std::errc why) {
  const std::string reason = std::make_error_code(why).message();
  const std::u16string text = std::u16string(tried) + u" \"" + shownPath(file) + u"\" failed: " +
                              std::u16string(reason.begin(), reason.end()) + u".";
  if (why == std::errc::permission_denied || why == std::errc::operation_not_permitted ||
      why == std::errc::read_only_file_system)
    throw NotPermitted(E_FAIL, {}, text);
  throw Error(E_FAIL, {}, text);
}
void throwFileError(std::u16string_view tried, const std::filesystem::path& file,
                    const std::error_code& why) {
  throwFileError(tried, file, static_cast<std::errc>(why.default_error_condition().value()));
}

}  // namespace CorvaneQueue::platform_layer
