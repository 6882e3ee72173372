#include "StoreCalls.h"

#include "modQueueUtils.h"
#include "Platform.h"
#include "StoredText.h"

namespace CorvaneQueue::store {

namespace {

constexpr std::int32_t typeSize = 64;
constexpr std::int32_t nameSize = 250;
constexpr std::int32_t bodySize = 1'073'741'823;
constexpr std::int32_t noTimeLimit = 0;

std::unique_ptr<Command> commandOn(DatabaseConnection& database) {
  auto command = platform().database->createCommand();
  command->ActiveConnection(database.Connection());
  return command;
}
void procedure(Command& command, std::u16string_view name) {
  command.CommandType(adCmdStoredProc);
  command.CommandText(name);
}
void input(Command& command, const char16_t* name, DataTypeEnum type, std::int32_t size, Variant value) {
  command.Append({name, type, adParamInput, size, std::move(value)});
}
void text(Command& command, const char16_t* name, std::int32_t size, std::u16string_view value) {
  input(command, name, adVarWChar, size, String(value));
}
void returnValue(Command& command) { command.Append({u"ReturnValue", adInteger, adParamReturnValue, 0}); }

void execute(Command& command) { command.Execute(adOptionUnspecified); }
void execute(DatabaseConnection& database, Command& command, Within transaction) {
  if (transaction == Within::OpenTransaction) return execute(command);
  const auto connection = database.Connection();
  connection->BeginTrans();
  try {
    execute(command);
    connection->CommitTrans();
  } catch (...) {
    try {
      connection->RollbackTrans();
    } catch (const Error&) {  // the first failure is the one to tell
    }
    throw;
  }
}

std::int64_t firstNumber(DatabaseConnection& database, const std::u16string& query) {
  std::int32_t cursorType = 3;
  const auto records = database.OpenRecordset(query, cursorType);
  return hasRows(records) ? toInt64(records->Field(0).get()) : 0;
}

}  // namespace

void createMessageType(DatabaseConnection& database, StringRef queue) {
  const auto command = commandOn(database);
  procedure(*command, u"[dbo].[mdqCreateMessageType]");
  returnValue(*command);
  text(*command, u"@Name", typeSize, messageType);
  text(*command, u"@Queue", nameSize, queue);
  command->Append({u"@MessageTypeID", adSmallInt, adParamOutput, 0});
  execute(*command);
}

String createMessage(DatabaseConnection& database, std::u16string_view type, std::u16string_view queue,
                     const String& description, Date created, StringRef body, Within transaction) {
  constexpr std::size_t messageID = 5;
  BSTR bodyText = body.bstr();  // by reference: it is read when the command is executed, and not copied
  const auto command = commandOn(database);
  procedure(*command, u"[dbo].[mdqCreateMessage]");
  text(*command, u"MessageType", typeSize, type);
  text(*command, u"Queue", nameSize, queue);
  text(*command, u"Description", nameSize, description);
  input(*command, u"CreateTimestamp", adDate, 0, created);
  input(*command, u"Body", adVarWChar, bodySize, Variant::reference(&bodyText));
  command->Append({u"MessageID", adBigInt, adParamOutput, 0});
  try {
    execute(database, *command, transaction);
  } catch (const Error& error) {
    const Variant& stored = command->At(messageID).Value;
    if (error.number() != StoreError::outcomeUnknown || stored.type() == VT_EMPTY) throw;
    throw Error(error.number(), error.source(),
                std::u16string(error.description().view()) + u" The document's identifier is " +
                    std::u16string(toString(stored.get()).view()) + u".");
  }
  return toString(command->At(messageID).Value.get());
}

std::unique_ptr<Recordset> waitingMessages(DatabaseConnection& database, const String& queue,
                                           Reading reading) {
  const auto command = commandOn(database);
  if (reading == Reading::All) command->CommandTimeout(noTimeLimit);
  procedure(*command, u"[dbo].[mdqGetMessagesTrans]");
  text(*command, u"@QueueName", nameSize, queue);
  input(*command, u"@MaxRecords", adInteger, 0, static_cast<std::int32_t>(reading));
  input(*command, u"@MinAge", adDate, 0, std::int32_t{1});
  return command->Execute(adOptionUnspecified);
}

namespace {
std::u16string documentsOf(const String& queue, std::u16string_view view) {
  std::u16string query =
      u"SELECT pe.[MessageID], pe.[Description], pe.[CreateTimestamp], pet.[Name], pe.[Body]"
      u" FROM [dbo].[";
  query += view;
  query +=
      u"] pe INNER JOIN [dbo].[mdqMessageType] pet"
      u"   ON pe.[MessageTypeID] = pet.[MessageTypeID]"
      u" WHERE pet.[Name] = 'idoc'"
      u"   AND pet.[Queue] = '";
  return query + modQueueUtils::EscapeSQLQuotes(queue) + u"'";
}
std::unique_ptr<Command> queryOn(DatabaseConnection& database, std::u16string_view text) {
  auto command = commandOn(database);
  command->CommandTimeout(noTimeLimit);
  command->CommandType(adCmdText);
  command->CommandText(text);
  return command;
}
}  // namespace

std::unique_ptr<Recordset> acknowledgedMessages(DatabaseConnection& database, const String& queue) {
  return queryOn(database, documentsOf(queue, u"mdqMessageAck"))->Execute(adOptionUnspecified);
}

std::unique_ptr<Recordset> message(DatabaseConnection& database, const String& queue, Documents documents,
                                   std::int64_t id) {
  return queryOn(database,
                 documentsOf(queue, documents == Documents::Waiting ? u"mdqMessage" : u"mdqMessageAck") +
                     u" AND pe.[MessageID] = " + decimal(id))
      ->Execute(adOptionUnspecified);
}

void acknowledge(DatabaseConnection& database, StringRef messageID) {
  const auto command = commandOn(database);
  procedure(*command, u"[dbo].[mdqAckReceive]");
  input(*command, u"@MessageID", adBigInt, 0, String(messageID));
  input(*command, u"@Flag", adSmallInt, 0, std::int32_t{2});
  execute(*command);
}

void deleteMessages(DatabaseConnection& database, const String& queue, Documents documents) {
  const auto command = commandOn(database);
  command->CommandType(adCmdStoredProc);
  command->CommandTimeout(noTimeLimit);
  command->CommandText(documents == Documents::Acknowledged
                           ? u"[dbo].[mdqDeleteAckQueueMessagesOlderThan]"
                           : u"[dbo].[mdqDeleteActiveQueueMessagesOlderThan]");
  returnValue(*command);
  text(*command, u"Queue", nameSize, queue);
  input(*command, u"DeleteSeconds", adInteger, 0, std::int32_t{0});
  execute(database, *command, Within::OwnTransaction);
}

std::int64_t waitingCount(DatabaseConnection& database, const String& queue) {
  std::u16string query =
      u"SELECT COUNT(*)"
      u" FROM [dbo].[mdqMessage] pe INNER JOIN [dbo].[mdqMessageType] pet"
      u"    ON pe.[MessageTypeID] = pet.[MessageTypeID]"
      u" WHERE pe.[AckReceive] = 0"
      u"   AND pet.[Name] = 'idoc'"
      u"   AND pet.[Queue] = ";
  return firstNumber(database, query + modQueueUtils::QuoteSQLString(queue));
}

bool queueExists(DatabaseConnection& database, StringRef queue) {
  std::u16string query =
      u"SELECT Count(*)"
      u" FROM [dbo].[mdqMessageType]"
      u" WHERE [Name] = 'idoc'"
      u"   AND [Queue] = ";
  return firstNumber(database, query + modQueueUtils::QuoteSQLString(queue)) >= 1;
}

std::unique_ptr<Recordset> queueList(DatabaseConnection& database) {
  std::int32_t cursorType = 3;
  return database.OpenRecordset(
      u"SELECT [MessageTypeID] ,[Name] ,[Queue]"
      u" FROM [dbo].[mdqMessageType]"
      u" WHERE [Name] = 'idoc'",
      cursorType);
}

}  // namespace CorvaneQueue::store
