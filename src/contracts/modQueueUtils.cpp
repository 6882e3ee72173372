#include "modQueueUtils.h"

#include "Platform.h"

namespace CorvaneQueue::modQueueUtils {

std::u16string EscapeSQLQuotes(std::u16string_view text) {
  std::u16string escaped;
  escaped.reserve(text.size() + 2);
  for (const char16_t c : text) {
    if (c == u'\'') escaped += c;
    escaped += c;
  }
  return escaped;
}

std::u16string QuoteSQLString(std::u16string_view text) { return u"'" + EscapeSQLQuotes(text) + u"'"; }

OSVersion GetOSVersionInfo() {
  OSVersion record{};
  record.recordSize = sizeof record;
  platform().system->GetVersionEx(record);
  return record;
}

}  // namespace CorvaneQueue::modQueueUtils
