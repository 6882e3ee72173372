// Every call of the message store: the six procedures and the four query texts, as the store expects
// them bound and joined.
#pragma once

#include "HostServices.h"

namespace CorvaneQueue::store {

inline constexpr const char16_t* messageType = u"idoc";

// Registers a queue, on the database's connection.
void createMessageType(DatabaseConnection& database, StringRef queue);
// The bound command that stores a document; once executed, `newIdentifier` is that document's. `body` is
// read when the command is executed and not copied.
std::unique_ptr<Command> messageCreation(const std::shared_ptr<Connection>& connection,
                                         std::u16string_view type, std::u16string_view queue,
                                         const String& description, Date created, BSTR* body);
String newIdentifier(const Command& executed);
enum class Reading : std::int32_t { All = 0, One = 1 };
// A listing runs without a time limit.
std::unique_ptr<Recordset> waitingMessages(const std::shared_ptr<Connection>& connection, const String& queue,
                                           Reading reading);
std::unique_ptr<Recordset> acknowledgedMessages(const std::shared_ptr<Connection>& connection,
                                                const String& queue);
enum class Documents { Waiting, Acknowledged };
// One document of a queue, if it is there.
std::unique_ptr<Recordset> message(const std::shared_ptr<Connection>& connection, const String& queue,
                                   Documents documents, std::int64_t id);
void acknowledge(const std::shared_ptr<Connection>& connection, StringRef messageID);
// The bound command that deletes the documents of a queue; it runs without a time limit.
std::unique_ptr<Command> deletion(const std::shared_ptr<Connection>& connection, const String& queue,
                                  Documents documents);
void execute(Command& command);

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
