#include "DbMessages.h"

#include "Dates.h"
#include "DbQueue.h"
#include "Platform.h"
#include "StoreCalls.h"

#include <iterator>

namespace CorvaneQueue {

namespace {

// Identifiers in lists have 19 digits, so that they sort as text.
String listedID(std::int64_t id) {
  char16_t digits[19];
  for (auto* place = std::end(digits); place-- != std::begin(digits); id /= 10)
    *place = static_cast<char16_t>(u'0' + id % 10);
  return String(std::u16string_view(digits, std::size(digits)));
}

std::int32_t localBias() {
  std::int32_t bias = 0;
  return platform().system->GetTimeZoneInformation(bias) == zoneInvalid ? 0 : bias;
}

}  // namespace

void DbMessages::Initialize(const DbQueue& queue) {
  name_ = queue.Name();
  isJournal_ = queue.IsJournal();
}

void DbMessages::Refresh() {
  messages_ = {};
  const auto database = platform().host->createDatabaseConnection();
  const auto records = isJournal_
                           ? store::acknowledgedMessages(database->Connection(), name_)
                           : store::waitingMessages(database->Connection(), name_, store::Reading::All);
  const std::int32_t bias = localBias();
  if (!store::hasRows(records)) return;
  messages_.reserve(static_cast<std::size_t>(records->RecordCount()));
  for (records->MoveFirst(); !records->EndOfFile(); records->MoveNext()) {
    const auto message = make<DbMessage>(
        listedID(toInt64(records->Field(store::columnID).get())),
        toString(records->Field(store::columnDescription)),
        addMinutes(toDate(records->Field(store::columnCreated).get()), -bias),
        toString(records->Field(store::columnType)), toString(records->Field(store::columnBody)));
    messages_.add(message, message->ID());
  }
}

}  // namespace CorvaneQueue
