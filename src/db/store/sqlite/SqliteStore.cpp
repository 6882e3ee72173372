#include "SqliteStore.h"

namespace CorvaneQueue::store {

namespace {

using Outcome = ProcedureStep::Outcome;
using Access = StoreProcedure::Access;

constexpr std::u16string_view namelessQueue = u"A queue needs a name; nothing was stored.";

constexpr ProcedureStep createMessageType[] = {
    {"SELECT 1 WHERE ?3 <> ''", Outcome::Required, 0, namelessQueue},
    {"INSERT INTO dbo.mdqMessageType (Name, Queue) VALUES (?2, ?3) ON CONFLICT DO NOTHING"},
    {"SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = ?2 AND Queue = ?3", Outcome::Output, 3},
};

#define NEXT_ID                                                    \
  "max((SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument)," \
  " (SELECT MessageID FROM dbo.mdqHighest)) + 1"
#define TYPE_ID "(SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2)"
constexpr ProcedureStep createMessage[] = {
    {"SELECT 1 WHERE ?2 <> ''", Outcome::Required, 0, namelessQueue},
    {"INSERT INTO dbo.mdqMessageType (Name, Queue) SELECT ?1, ?2"
     " WHERE NOT EXISTS (SELECT 1 FROM dbo.mdqMessageType WHERE Name = ?1 AND Queue = ?2)"},
    // Not by a SELECT, which would copy the body once more.
    {"INSERT INTO dbo.mdqDocument (MessageID, MessageTypeID, CreateTimestamp, Description, Body, Checksum)"
     " VALUES (" NEXT_ID ", " TYPE_ID ", ?4, ?3, ?5, checksum(" NEXT_ID ", " TYPE_ID ", ?4, ?3, ?5))"},
    {"INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID, Length)"
     " VALUES (" TYPE_ID ", last_insert_rowid(), length(CAST(?5 AS BLOB)))"},
    {"SELECT last_insert_rowid()", Outcome::Output, 5},
};
#undef NEXT_ID
#undef TYPE_ID

constexpr ProcedureStep getMessagesTrans[] = {
    {"SELECT w.MessageID, d.Description, d.CreateTimestamp, t.Name, d.Body"
     " FROM dbo.mdqMessageType t CROSS JOIN dbo.mdqWaiting w ON w.MessageTypeID = t.MessageTypeID"
     " CROSS JOIN dbo.mdqContent d ON d.MessageID = w.MessageID"
     " WHERE t.Name = 'idoc' AND t.Queue = ?1 AND d.CreateTimestamp >= ?3"
     " AND (?2 <> 1 OR NOT isHeldByOther(w.MessageID))"
     " ORDER BY w.MessageID LIMIT CASE WHEN ?2 > 0 THEN ?2 ELSE -1 END",
     Outcome::Held},
};

constexpr ProcedureStep ackReceive[] = {
    {"SELECT 1 WHERE ?2 = 2", Outcome::Required, 0,
     u"mdqAckReceive knows only @Flag 2: the acknowledged document is kept."},
    {"SELECT 1 FROM dbo.mdqDocument WHERE MessageID = ?1", Outcome::Required, 0,
     u"There is no document with the identifier %1: it was never stored, or it has been purged."},
    {"INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID, Length, AckTimestamp)"
     " SELECT MessageTypeID, MessageID, Length, datetime('now') FROM dbo.mdqWaiting WHERE MessageID = ?1"
     " AND MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqDocument WHERE MessageID = ?1)"},
    {"DELETE FROM dbo.mdqWaiting WHERE MessageID = ?1"
     " AND MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqDocument WHERE MessageID = ?1)"},
    {"UPDATE dbo.mdqDocument INDEXED BY mdqUnchecked"
     " SET Checksum = checksum(MessageID, MessageTypeID, CreateTimestamp, Description, Body)"
     " WHERE MessageID = ?1 AND Checksum IS NULL"},
};

constexpr std::string_view rememberHighest =
    "UPDATE dbo.mdqHighest SET MessageID ="
    " max(MessageID, (SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument))";

// Every document for 0 seconds, also one with a time stamp in the future. One that somebody's transaction
// holds stays: it is being processed.
constexpr ProcedureStep deleteActive[] = {
    {rememberHighest},
    {"DELETE FROM dbo.mdqDocument WHERE MessageID IN (SELECT MessageID FROM dbo.mdqWaiting"
     " WHERE MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = "
     "?2) AND NOT isHeldByOther(MessageID))"
     " AND (?3 <= 0 OR CreateTimestamp <= datetime('now', '-' || ?3 || ' seconds'))"},
    {"DELETE FROM dbo.mdqWaiting"
     " WHERE MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = "
     "?2)"
     " AND NOT EXISTS (SELECT 1 FROM dbo.mdqDocument d WHERE d.MessageID = mdqWaiting.MessageID)"},
};
constexpr ProcedureStep deleteAcknowledged[] = {
    {rememberHighest},
    {"DELETE FROM dbo.mdqDocument WHERE MessageID IN (SELECT MessageID FROM dbo.mdqAcknowledged"
     " WHERE MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = "
     "?2))"
     " AND (?3 <= 0 OR CreateTimestamp <= datetime('now', '-' || ?3 || ' seconds'))"},
    {"DELETE FROM dbo.mdqAcknowledged"
     " WHERE MessageTypeID = (SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = "
     "?2)"
     " AND NOT EXISTS (SELECT 1 FROM dbo.mdqDocument d WHERE d.MessageID = mdqAcknowledged.MessageID)"},
};

constexpr StoreProcedure procedures[] = {
    {u"[dbo].[mdqCreateMessageType]", Access::Stores, createMessageType},
    {u"[dbo].[mdqCreateMessage]", Access::Stores, createMessage},
    {u"[dbo].[mdqGetMessagesTrans]", Access::Reads, getMessagesTrans},
    {u"[dbo].[mdqAckReceive]", Access::Frees, ackReceive},
    {u"[dbo].[mdqDeleteActiveQueueMessagesOlderThan]", Access::Purges, deleteActive},
    {u"[dbo].[mdqDeleteAckQueueMessagesOlderThan]", Access::Purges, deleteAcknowledged},
};

}  // namespace

StoreDefinition sqliteStore() noexcept {
  return {storeMigrations(),
          procedures,
          "SELECT count(*) FROM dbo.mdqDocument",
          "SELECT count(*) FROM dbo.mdqDocument INDEXED BY mdqUnchecked WHERE Checksum IS NULL",
          "SELECT MessageID FROM dbo.mdqContent WHERE typeof(Body) = 'blob'",
          operationStatements()};
}

}  // namespace CorvaneQueue::store
