#include "SqliteStore.h"

namespace CorvaneQueue::store {

namespace {

using Outcome = ProcedureStep::Outcome;
using Access = StoreProcedure::Access;

// Waiting and acknowledged documents are rows of one table, seen through two views: acknowledging
// flips a flag of the row in place and does not copy the body. Identifiers never repeat, also when
// the newest document has been purged: mdqHighest remembers it.
constexpr std::string_view migrations[] = {
    R"sql(
CREATE TABLE dbo.mdqMessageType (
  MessageTypeID INTEGER PRIMARY KEY CHECK (MessageTypeID BETWEEN 1 AND 32767),
  Name          TEXT NOT NULL,
  Queue         TEXT NOT NULL COLLATE QUEUE_NAME,
  UNIQUE (Name, Queue)
);
CREATE TABLE dbo.mdqDocument (
  MessageID       INTEGER PRIMARY KEY,
  MessageTypeID   INTEGER NOT NULL REFERENCES mdqMessageType (MessageTypeID),
  AckReceive      INTEGER NOT NULL,
  CreateTimestamp DATETIME NOT NULL,
  Description     TEXT NOT NULL,
  Body            TEXT NOT NULL
);
CREATE INDEX dbo.mdqWaiting ON mdqDocument (MessageTypeID) WHERE AckReceive = 0;
CREATE INDEX dbo.mdqAcknowledged ON mdqDocument (MessageTypeID) WHERE AckReceive = 1;
CREATE TABLE dbo.mdqHighest (MessageID INTEGER NOT NULL);
INSERT INTO dbo.mdqHighest VALUES (0);
CREATE VIEW dbo.mdqMessage AS
  SELECT MessageID, Description, CreateTimestamp, Body, MessageTypeID, AckReceive
    FROM mdqDocument WHERE AckReceive = 0;
CREATE VIEW dbo.mdqMessageAck AS
  SELECT MessageID, Description, CreateTimestamp, Body, MessageTypeID
    FROM mdqDocument WHERE AckReceive = 1;
)sql",
};

constexpr ProcedureStep createMessageType[] = {
    {"INSERT INTO dbo.mdqMessageType (Name, Queue) VALUES (?2, ?3) ON CONFLICT DO NOTHING"},
    {"SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = ?2 AND Queue = ?3", Outcome::Output, 3},
};

constexpr ProcedureStep createMessage[] = {
    {"INSERT INTO dbo.mdqMessageType (Name, Queue) SELECT ?1, ?2"
     " WHERE NOT EXISTS (SELECT 1 FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2)"},
    {"INSERT INTO dbo.mdqDocument (MessageID, MessageTypeID, AckReceive, CreateTimestamp, Description, Body)"
     " SELECT max((SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument),"
     " (SELECT MessageID FROM dbo.mdqHighest)) + 1, MessageTypeID, 0, ?4, ?3, ?5"
     " FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2"
     " RETURNING MessageID",
     Outcome::Output, 5},
};

constexpr ProcedureStep getMessagesTrans[] = {
    {"SELECT d.MessageID, d.Description, d.CreateTimestamp, t.Name, d.Body"
     " FROM dbo.mdqMessageType t CROSS JOIN dbo.mdqDocument d ON d.MessageTypeID = t.MessageTypeID"
     " WHERE t.Name = 'idoc' AND t.Queue = ?1 AND d.AckReceive = 0 AND d.CreateTimestamp >= ?3"
     " ORDER BY d.MessageID LIMIT CASE WHEN ?2 > 0 THEN ?2 ELSE -1 END",
     Outcome::Rows},
};

constexpr ProcedureStep ackReceive[] = {
    {"SELECT 1 WHERE ?2 = 2", Outcome::Required, 0,
     u"mdqAckReceive knows only @Flag 2: the acknowledged document is kept."},
    {"SELECT 1 FROM dbo.mdqDocument WHERE MessageID = ?1", Outcome::Required, 0,
     u"There is no document with the identifier %1: it was never stored, or it has been purged."},
    {"UPDATE dbo.mdqDocument SET AckReceive = 1 WHERE MessageID = ?1 AND AckReceive = 0"},
};

constexpr std::string_view rememberHighest =
    "UPDATE dbo.mdqHighest SET MessageID ="
    " max(MessageID, (SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument))";

// Every document for 0 seconds, also one with a time stamp in the future.
constexpr ProcedureStep deleteActive[] = {
    {rememberHighest},
    {"DELETE FROM dbo.mdqDocument WHERE AckReceive = 0 AND MessageTypeID ="
     " (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = ?2)"
     " AND (?3 <= 0 OR CreateTimestamp <= datetime('now', '-' || ?3 || ' seconds'))"},
};
constexpr ProcedureStep deleteAcknowledged[] = {
    {rememberHighest},
    {"DELETE FROM dbo.mdqDocument WHERE AckReceive = 1 AND MessageTypeID ="
     " (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = ?2)"
     " AND (?3 <= 0 OR CreateTimestamp <= datetime('now', '-' || ?3 || ' seconds'))"},
};

constexpr StoreProcedure procedures[] = {
    {u"[dbo].[mdqCreateMessageType]", Access::Writes, createMessageType},
    {u"[dbo].[mdqCreateMessage]", Access::Writes, createMessage},
    {u"[dbo].[mdqGetMessagesTrans]", Access::Reads, getMessagesTrans},
    {u"[dbo].[mdqAckReceive]", Access::Writes, ackReceive},
    {u"[dbo].[mdqDeleteActiveQueueMessagesOlderThan]", Access::Writes, deleteActive},
    {u"[dbo].[mdqDeleteAckQueueMessagesOlderThan]", Access::Writes, deleteAcknowledged},
};

}  // namespace

StoreDefinition sqliteStore() noexcept { return {migrations, procedures}; }

}  // namespace CorvaneQueue::store
