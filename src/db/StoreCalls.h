// Every call of the message store: the six procedures and the four query texts, as the store expects
// them bound and joined.
#pragma once

#include "HostServices.h"

namespace CorvaneQueue::store {

inline constexpr const char16_t* messageType = u"idoc";

// On its connection, which each call opens if need be. Throw what it throws.
void createMessageType(DatabaseConnection& database, StringRef queue);
enum class Within { OpenTransaction, OwnTransaction };  // which a failure undoes
// Stores a document and returns its identifier.
String createMessage(DatabaseConnection& database, std::u16string_view type, std::u16string_view queue,
                     const String& description, Date created, StringRef body, Within transaction);
enum class Reading : std::int32_t { All = 0, One = 1 };
// A listing runs without a time limit.
std::unique_ptr<Recordset> waitingMessages(DatabaseConnection& database, const String& queue,
                                           Reading reading);
std::unique_ptr<Recordset> acknowledgedMessages(DatabaseConnection& database, const String& queue);
enum class Documents { Waiting, Acknowledged };
// One document of a queue, if it is there.
std::unique_ptr<Recordset> message(DatabaseConnection& database, const String& queue, Documents documents,
                                   std::int64_t id);
void acknowledge(DatabaseConnection& database, StringRef messageID);
// Deletes the documents of a queue, in a transaction of its own; without a time limit.
void deleteMessages(DatabaseConnection& database, const String& queue, Documents documents);

std::int64_t waitingCount(DatabaseConnection& database, const String& queue);
bool queueExists(DatabaseConnection& database, StringRef queue);
std::unique_ptr<Recordset> queueList(DatabaseConnection& database);

// Columns of the documents that are read.
enum Column : std::int32_t { columnID, columnDescription, columnCreated, columnType, columnBody };
inline constexpr std::int32_t columnQueue = 2;  // of the queue list

// Whether there is anything to read.
inline bool hasRows(const std::unique_ptr<Recordset>& records) {
  return records && records->RecordCount() > 0;
}

}  // namespace CorvaneQueue::store
