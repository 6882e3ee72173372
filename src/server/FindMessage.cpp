#include "CreatableClasses.h"
#include "DbMessages.h"
#include "DbUtility.h"
#include "MSMQMessages.h"

#include <CorvaneQueue/findMessage.h>

#include <limits>
#include <optional>

namespace CorvaneQueue {

namespace {

// Nothing for what is no identifier.
std::optional<std::int64_t> numberIn(std::u16string_view digits) {
  constexpr std::int64_t lastTenth = std::numeric_limits<std::int64_t>::max() / 10;
  std::int64_t number = 0;
  for (const char16_t digit : digits) {
    if (digit < u'0' || digit > u'9' || number >= lastTenth) return std::nullopt;
    number = number * 10 + (digit - u'0');
  }
  return digits.empty() ? std::nullopt : std::optional(number);
}

}  // namespace

Message findMessage(const Text& queue, Among among, const Text& ID) {
  openDoor();
  const auto number = numberIn(StringRef(ID));
  if (!number) return {};
  const String name{StringRef(queue)};
  const bool isJournal = among == Among::Acknowledged;
  if (make<DbUtility>()->QueueStoreType() == u"db")
    return Message(Ref<_Message>(DbMessages::find(name, isJournal, *number)));
  return Message(Ref<_Message>(MSMQMessages::find(name, isJournal, *number)));
}

}  // namespace CorvaneQueue
