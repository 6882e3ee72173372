// What operators do, as statements of the embedded engine.
#include "SqliteStore.h"

namespace CorvaneQueue::store {

namespace {

#define DOCUMENTS(list, acknowledged, order)                                                          \
  "SELECT l.MessageID, d.Description, d.CreateTimestamp, " acknowledged                               \
  ", l.Length, CASE WHEN ?4 THEN (SELECT Body FROM dbo.mdqContent c WHERE c.MessageID = l.MessageID)" \
  " END FROM dbo." list                                                                               \
  " l CROSS JOIN dbo.mdqDocument d ON d.MessageID = l.MessageID"                                      \
  " WHERE l.MessageTypeID = ?1 AND l.MessageID BETWEEN ?2 AND ?5 ORDER BY l.MessageID " order " LIMIT ?3"
#define SUMMARIES                                                       \
  "SELECT FirstID, LastID, SentFrom, SentTo, Signs FROM dbo.mdqSummary" \
  " WHERE MessageTypeID = ?1 AND FirstID <= ?3 AND LastID >= ?2"
#define IS_LISTED(list) "SELECT 1 FROM dbo." list " WHERE MessageTypeID = ?1 AND MessageID = ?2"
#define TAKE_OFF(list) "DELETE FROM dbo." list " WHERE MessageTypeID = ?1 AND MessageID = ?2"
#define PUT_ON_WAITING(list)                                      \
  "INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID, Length)" \
  " SELECT ?3, MessageID, Length FROM dbo." list " WHERE MessageTypeID = ?1 AND MessageID = ?2"

constexpr std::string_view rememberHighest =
    "UPDATE dbo.mdqHighest SET MessageID = max(MessageID, ?2) WHERE ?2 = (SELECT max(MessageID) FROM "
    "dbo.mdqDocument)";
constexpr std::string_view deleteDocument = "DELETE FROM dbo.mdqDocument WHERE MessageID = ?2";
constexpr std::string_view deleteWaiting[] = {rememberHighest, TAKE_OFF("mdqWaiting"), deleteDocument};
constexpr std::string_view deleteAcknowledged[] = {rememberHighest, TAKE_OFF("mdqAcknowledged"),
                                                   deleteDocument};
constexpr std::string_view acknowledge[] = {
    "INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID, Length, AckTimestamp)"
    " SELECT MessageTypeID, MessageID, Length, datetime('now') FROM dbo.mdqWaiting"
    " WHERE MessageTypeID = ?1 AND MessageID = ?2",
    TAKE_OFF("mdqWaiting")};
constexpr std::string_view changeQueue =
    "UPDATE dbo.mdqDocument SET MessageTypeID = ?3,"
    " Checksum = checksum(MessageID, ?3, CreateTimestamp, Description, Body)"
    " WHERE MessageID = ?2 AND MessageTypeID <> ?3";
constexpr std::string_view moveWaiting[] = {PUT_ON_WAITING("mdqWaiting"), TAKE_OFF("mdqWaiting"),
                                            changeQueue};
constexpr std::string_view moveDamaged[] = {
    PUT_ON_WAITING("mdqWaiting"), TAKE_OFF("mdqWaiting"),
    "UPDATE dbo.mdqDocument SET MessageTypeID = ?3,"
    " Checksum = ~checksum(MessageID, ?3, CreateTimestamp, Description, Body) WHERE MessageID = ?2"};
constexpr std::string_view moveAcknowledged[] = {PUT_ON_WAITING("mdqAcknowledged"),
                                                 TAKE_OFF("mdqAcknowledged"), changeQueue};
constexpr std::string_view copy[] = {
    "INSERT INTO dbo.mdqDocument (MessageID, MessageTypeID, CreateTimestamp, Description, Body)"
    " SELECT max((SELECT coalesce(max(MessageID), 0) FROM dbo.mdqDocument),"
    " (SELECT MessageID FROM dbo.mdqHighest)) + 1, ?3, CreateTimestamp, Description, Body"
    " FROM dbo.mdqDocument WHERE MessageID = ?2",
    "UPDATE dbo.mdqDocument SET Checksum = checksum(MessageID, MessageTypeID, CreateTimestamp, Description,"
    " Body) WHERE MessageID = last_insert_rowid()",
    "INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID, Length)"
    " SELECT MessageTypeID, MessageID, length(CAST(Body AS BLOB)) FROM dbo.mdqDocument"
    " WHERE MessageID = last_insert_rowid()"};

}  // namespace

OperationStatements operationStatements() noexcept {
  return {
      "SELECT Queue FROM dbo.mdqMessageType WHERE Name = 'idoc' ORDER BY MessageTypeID",
      "SELECT MessageTypeID FROM dbo.mdqMessageType WHERE Name = 'idoc' AND Queue = ?1",
      "SELECT Waiting, WaitingBytes, Acknowledged, AcknowledgedBytes, LastSent, LastAcknowledged,"
      " coalesce((SELECT CreateTimestamp FROM dbo.mdqDocument WHERE MessageID ="
      " (SELECT min(MessageID) FROM dbo.mdqWaiting WHERE MessageTypeID = ?1)), '')"
      " FROM dbo.mdqTotals WHERE MessageTypeID = ?1",
      "SELECT count(*) FROM dbo.mdqWaiting WHERE MessageTypeID = ?1 AND MessageID BETWEEN ?2 AND ?3",
      {DOCUMENTS("mdqWaiting", "NULL", "ASC"), DOCUMENTS("mdqAcknowledged", "l.AckTimestamp", "ASC")},
      {DOCUMENTS("mdqWaiting", "NULL", "DESC"), DOCUMENTS("mdqAcknowledged", "l.AckTimestamp", "DESC")},
      SUMMARIES
      " AND FirstID >= coalesce((SELECT max(FirstID) FROM dbo.mdqSummary WHERE MessageTypeID = ?1 AND FirstID <= ?2),"
      " ?2) ORDER BY FirstID",
      SUMMARIES " ORDER BY FirstID DESC",
      {IS_LISTED("mdqWaiting"), IS_LISTED("mdqAcknowledged")},
      "SELECT 1 FROM dbo.mdqContent WHERE MessageID = ?1 AND typeof(Body) <> 'blob'",
      {deleteWaiting, deleteAcknowledged},
      acknowledge,
      {moveWaiting, moveAcknowledged},
      moveDamaged,
      copy,
      "[dbo].[mdqCreateMessage]",
      "DELETE FROM dbo.mdqMessageType WHERE MessageTypeID = ?1",
      "DELETE FROM dbo.mdqSummary WHERE NOT EXISTS"
      " (SELECT 1 FROM dbo.mdqDocument WHERE MessageID BETWEEN FirstID AND LastID)",
  };
}

}  // namespace CorvaneQueue::store
