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

// A damaged document is listed too, so that it can be seen and deleted.
Ref<DbMessage> listed(Recordset& records, std::int32_t bias) {
  String id = listedID(toInt64(records.Field(store::columnID).get()));
  String label = toString(records.TakeField(store::columnDescription));
  const Date sent = addMinutes(toDate(records.Field(store::columnCreated).get()), -bias);
  String type = toString(records.TakeField(store::columnType));
  try {
    return make<DbMessage>(std::move(id), std::move(label), sent, std::move(type),
                           records.TakeText(store::columnBody));
  } catch (const Error& damage) {
    return make<DbMessage>(std::move(id), std::move(label), sent, std::move(type), damage);
  }
}

}  // namespace

void DbMessages::Initialize(const DbQueue& queue) {
  name_ = queue.Name();
  isJournal_ = queue.IsJournal();
}

void DbMessages::Refresh() {
  messages_ = {};
  const auto database = platform().host->createDatabaseConnection();
  const auto records = isJournal_ ? store::acknowledgedMessages(*database, name_)
                                  : store::waitingMessages(*database, name_, store::Reading::All);
  const std::int32_t bias = localBias();
  if (!store::hasRows(records)) return;
  messages_.reserve(static_cast<std::size_t>(records->RecordCount()));
  for (records->MoveFirst(); !records->EndOfFile(); records->MoveNext()) {
    const auto message = listed(*records, bias);
    messages_.add(message, message->ID());
  }
}

Ref<DbMessage> DbMessages::find(const String& queue, bool isJournal, std::int64_t id) {
  const auto database = platform().host->createDatabaseConnection();
  const auto records = store::message(
      *database, queue, isJournal ? store::Documents::Acknowledged : store::Documents::Waiting, id);
  if (!store::hasRows(records)) return nullptr;
  records->MoveFirst();
  return listed(*records, localBias());
}

}  // namespace CorvaneQueue
