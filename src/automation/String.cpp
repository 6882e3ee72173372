#include "StoredText.h"

#include <CorvaneQueue/Error.h>

namespace CorvaneQueue {

String fromUtf8(std::string_view text) {
  String result = String::ofLength(utf16Length(text));
  const auto outcome = decodeUtf8(text, result.units(), Surrogates::Refused);
  if (!outcome.valid)
    throw Error(ErrorNumber::InvalidArgument, {},
                u"The text is not valid UTF-8 (byte " + decimal(outcome.consumed) +
                    u"); convert it, or name its encoding.");
  return result;
}

std::string toUtf8(std::u16string_view text) {
  std::string result(utf8Bound(text), '\0');
  result.resize(encodeUtf8(text, result.data(), Surrogates::Refused));
  return result;
}

}  // namespace CorvaneQueue
