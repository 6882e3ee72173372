// The schema of the embedded engine.
#include "SqliteStore.h"

namespace CorvaneQueue::store {

namespace {

// A document is stored once; whether it waits or is acknowledged is told by the list that names it, so
// that acknowledging moves a pair of numbers and touches no body. The views take each column from the
// document only when it is asked for: counting reads the list alone. Identifiers never repeat, also
// when the newest document has been purged: mdqHighest remembers it.
// Of a document that has come into a queue: the first one there, up to where the queue has been summarized,
// and whether there is enough behind that.
#define FIRST_LISTED                                                                             \
  "(SELECT min(MessageID) FROM"                                                                  \
  " (SELECT min(MessageID) AS MessageID FROM mdqWaiting WHERE MessageTypeID = NEW.MessageTypeID" \
  "  UNION ALL SELECT min(MessageID) FROM mdqAcknowledged WHERE MessageTypeID = NEW.MessageTypeID))"
#define SUMMARIZED                                                                  \
  "coalesce((SELECT LastID FROM mdqSummary WHERE MessageTypeID = NEW.MessageTypeID" \
  " AND FirstID < NEW.MessageID ORDER BY FirstID DESC LIMIT 1), " FIRST_LISTED " - 1)"
#define IS_DUE SUMMARIZED " <= NEW.MessageID - 1024"

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
  CreateTimestamp DATETIME NOT NULL,
  Description     TEXT NOT NULL,
  Body            TEXT NOT NULL
);
CREATE TABLE dbo.mdqWaiting (
  MessageTypeID INTEGER NOT NULL,
  MessageID     INTEGER NOT NULL,
  PRIMARY KEY (MessageTypeID, MessageID)
) WITHOUT ROWID;
CREATE TABLE dbo.mdqAcknowledged (
  MessageTypeID INTEGER NOT NULL,
  MessageID     INTEGER NOT NULL,
  PRIMARY KEY (MessageTypeID, MessageID)
) WITHOUT ROWID;
CREATE TABLE dbo.mdqHighest (MessageID INTEGER NOT NULL);
INSERT INTO dbo.mdqHighest VALUES (0);
CREATE VIEW dbo.mdqMessage AS
  SELECT w.MessageID,
         (SELECT Description FROM mdqDocument d WHERE d.MessageID = w.MessageID) AS Description,
         (SELECT CreateTimestamp FROM mdqDocument d WHERE d.MessageID = w.MessageID) AS CreateTimestamp,
         (SELECT Body FROM mdqDocument d WHERE d.MessageID = w.MessageID) AS Body,
         w.MessageTypeID, 0 AS AckReceive
    FROM mdqWaiting w;
CREATE VIEW dbo.mdqMessageAck AS
  SELECT a.MessageID,
         (SELECT Description FROM mdqDocument d WHERE d.MessageID = a.MessageID) AS Description,
         (SELECT CreateTimestamp FROM mdqDocument d WHERE d.MessageID = a.MessageID) AS CreateTimestamp,
         (SELECT Body FROM mdqDocument d WHERE d.MessageID = a.MessageID) AS Body,
         a.MessageTypeID
    FROM mdqAcknowledged a;
)sql",
    // A checksum for each document, but for those that are there already: they get one when they are
    // acknowledged. A body that is not what was stored comes out as a blob.
    R"sql(
ALTER TABLE dbo.mdqDocument ADD COLUMN Checksum INTEGER;
CREATE INDEX dbo.mdqUnchecked ON mdqDocument (MessageID) WHERE Checksum IS NULL;
DROP VIEW dbo.mdqMessage;
DROP VIEW dbo.mdqMessageAck;
CREATE VIEW dbo.mdqContent AS
  SELECT MessageID, MessageTypeID, CreateTimestamp, Description,
         CASE WHEN Checksum IS NULL
                OR Checksum = checksum(MessageID, MessageTypeID, CreateTimestamp, Description, Body)
              THEN Body ELSE zeroblob(0) END AS Body
    FROM mdqDocument;
CREATE VIEW dbo.mdqMessage AS
  SELECT w.MessageID,
         (SELECT Description FROM mdqDocument d WHERE d.MessageID = w.MessageID) AS Description,
         (SELECT CreateTimestamp FROM mdqDocument d WHERE d.MessageID = w.MessageID) AS CreateTimestamp,
         (SELECT Body FROM mdqContent d WHERE d.MessageID = w.MessageID) AS Body,
         w.MessageTypeID, 0 AS AckReceive
    FROM mdqWaiting w;
CREATE VIEW dbo.mdqMessageAck AS
  SELECT a.MessageID,
         (SELECT Description FROM mdqDocument d WHERE d.MessageID = a.MessageID) AS Description,
         (SELECT CreateTimestamp FROM mdqDocument d WHERE d.MessageID = a.MessageID) AS CreateTimestamp,
         (SELECT Body FROM mdqContent d WHERE d.MessageID = a.MessageID) AS Body,
         a.MessageTypeID
    FROM mdqAcknowledged a;
)sql",
    // Nothing changes but the rules by which processes take turns and sync.
    "",
    // When a document was acknowledged (not known of older ones), and what is in each queue: the lists keep
    // the totals up to date, whoever changes them. For operators: how far their unfinished work has come, and
    // which documents a worker failed over.
    R"sql(
CREATE TABLE dbo.mdqRun (Run TEXT PRIMARY KEY, Position INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE dbo.mdqFailure (
  MessageID INTEGER PRIMARY KEY,
  Attempts  INTEGER NOT NULL,
  Reason    TEXT NOT NULL
);
ALTER TABLE dbo.mdqWaiting ADD COLUMN Length INTEGER NOT NULL DEFAULT 0;
ALTER TABLE dbo.mdqAcknowledged ADD COLUMN Length INTEGER NOT NULL DEFAULT 0;
ALTER TABLE dbo.mdqAcknowledged ADD COLUMN AckTimestamp DATETIME;
UPDATE dbo.mdqWaiting SET Length = coalesce(
  (SELECT length(CAST(Body AS BLOB)) FROM dbo.mdqDocument d WHERE d.MessageID = mdqWaiting.MessageID), 0);
UPDATE dbo.mdqAcknowledged SET Length = coalesce(
  (SELECT length(CAST(Body AS BLOB)) FROM dbo.mdqDocument d WHERE d.MessageID = mdqAcknowledged.MessageID), 0);
CREATE TABLE dbo.mdqTotals (
  MessageTypeID     INTEGER PRIMARY KEY,
  Waiting           INTEGER NOT NULL DEFAULT 0,
  WaitingBytes      INTEGER NOT NULL DEFAULT 0,
  Acknowledged      INTEGER NOT NULL DEFAULT 0,
  AcknowledgedBytes INTEGER NOT NULL DEFAULT 0,
  LastSent          DATETIME NOT NULL DEFAULT '',
  LastAcknowledged  DATETIME NOT NULL DEFAULT ''
);
INSERT INTO dbo.mdqTotals
  SELECT MessageTypeID,
         (SELECT count(*) FROM dbo.mdqWaiting w WHERE w.MessageTypeID = t.MessageTypeID),
         (SELECT coalesce(sum(Length), 0) FROM dbo.mdqWaiting w WHERE w.MessageTypeID = t.MessageTypeID),
         (SELECT count(*) FROM dbo.mdqAcknowledged a WHERE a.MessageTypeID = t.MessageTypeID),
         (SELECT coalesce(sum(Length), 0) FROM dbo.mdqAcknowledged a WHERE a.MessageTypeID = t.MessageTypeID),
         coalesce((SELECT max(CreateTimestamp) FROM dbo.mdqDocument d WHERE d.MessageTypeID = t.MessageTypeID), ''),
         ''
    FROM dbo.mdqMessageType t;
CREATE TRIGGER dbo.mdqNewType AFTER INSERT ON mdqMessageType BEGIN
  INSERT INTO mdqTotals (MessageTypeID) VALUES (NEW.MessageTypeID);
END;
CREATE TRIGGER dbo.mdqOldType AFTER DELETE ON mdqMessageType BEGIN
  DELETE FROM mdqTotals WHERE MessageTypeID = OLD.MessageTypeID;
END;
CREATE TRIGGER dbo.mdqIntoWaiting AFTER INSERT ON mdqWaiting BEGIN
  UPDATE mdqTotals
     SET Waiting = Waiting + 1, WaitingBytes = WaitingBytes + NEW.Length,
         LastSent = max(LastSent, (SELECT CreateTimestamp FROM mdqDocument WHERE MessageID = NEW.MessageID))
   WHERE MessageTypeID = NEW.MessageTypeID;
END;
CREATE TRIGGER dbo.mdqOutOfWaiting AFTER DELETE ON mdqWaiting BEGIN
  UPDATE mdqTotals SET Waiting = Waiting - 1, WaitingBytes = WaitingBytes - OLD.Length
   WHERE MessageTypeID = OLD.MessageTypeID;
END;
CREATE TRIGGER dbo.mdqIntoAcknowledged AFTER INSERT ON mdqAcknowledged BEGIN
  UPDATE mdqTotals
     SET Acknowledged = Acknowledged + 1, AcknowledgedBytes = AcknowledgedBytes + NEW.Length,
         LastAcknowledged = max(LastAcknowledged, coalesce(NEW.AckTimestamp, ''))
   WHERE MessageTypeID = NEW.MessageTypeID;
END;
CREATE TRIGGER dbo.mdqOutOfAcknowledged AFTER DELETE ON mdqAcknowledged BEGIN
  UPDATE mdqTotals SET Acknowledged = Acknowledged - 1, AcknowledgedBytes = AcknowledgedBytes - OLD.Length
   WHERE MessageTypeID = OLD.MessageTypeID;
END;
)sql",
    // Summaries of documents that follow each other in a queue, for searches: of about a thousand identifiers
    // each, made when one of 64 documents comes behind them. A document that comes among older ones takes
    // their summary away; those of documents that are gone go a few at a time.
    R"sql(
CREATE TABLE dbo.mdqSummary (
  MessageTypeID INTEGER NOT NULL,
  FirstID       INTEGER NOT NULL,
  LastID        INTEGER NOT NULL,
  SentFrom      INTEGER NOT NULL,
  SentTo        INTEGER NOT NULL,
  Signs         BLOB NOT NULL,
  PRIMARY KEY (MessageTypeID, FirstID)
);
CREATE TRIGGER dbo.mdqAmongOlder AFTER INSERT ON mdqWaiting
  WHEN NEW.MessageID < (SELECT max(MessageID) FROM mdqDocument) BEGIN
  DELETE FROM mdqSummary
   WHERE MessageTypeID = NEW.MessageTypeID AND LastID >= NEW.MessageID
     AND FirstID = (SELECT max(FirstID) FROM mdqSummary
                     WHERE MessageTypeID = NEW.MessageTypeID AND FirstID <= NEW.MessageID);
END;
CREATE TRIGGER dbo.mdqSummarize AFTER INSERT ON mdqWaiting
  WHEN (NEW.MessageID + (NEW.MessageID >> 6)) & 63 = 0 BEGIN
  DELETE FROM mdqSummary
   WHERE MessageTypeID = NEW.MessageTypeID
     AND LastID < )sql" FIRST_LISTED R"sql(
     AND FirstID IN (SELECT FirstID FROM mdqSummary WHERE MessageTypeID = NEW.MessageTypeID
                      ORDER BY FirstID LIMIT 8);
  INSERT INTO mdqSummary
  SELECT NEW.MessageTypeID, min(MessageID), max(MessageID), min(Sent), max(Sent), labelSigns(MessageID, Description)
    FROM (SELECT MessageID,
                 (SELECT Description FROM mdqDocument d WHERE d.MessageID = l.MessageID) AS Description,
                 coalesce((SELECT unixepoch(CreateTimestamp) FROM mdqDocument d WHERE d.MessageID = l.MessageID), 0)
                   AS Sent
            FROM (SELECT MessageID FROM mdqWaiting
                   WHERE MessageTypeID = NEW.MessageTypeID AND MessageID < NEW.MessageID
                     AND MessageID > )sql" SUMMARIZED R"sql( AND )sql" IS_DUE R"sql(
                  UNION ALL
                  SELECT MessageID FROM mdqAcknowledged
                   WHERE MessageTypeID = NEW.MessageTypeID AND MessageID < NEW.MessageID
                     AND MessageID > )sql" SUMMARIZED R"sql( AND )sql" IS_DUE R"sql(
                   ORDER BY MessageID LIMIT 2048) l)
  HAVING count(*) > 0;
END;
CREATE TRIGGER dbo.mdqOldTypeSummaries AFTER DELETE ON mdqMessageType BEGIN
  DELETE FROM mdqSummary WHERE MessageTypeID = OLD.MessageTypeID;
END;
)sql",
};
#undef FIRST_LISTED
#undef SUMMARIZED
#undef IS_DUE

}  // namespace

std::span<const std::string_view> storeMigrations() noexcept { return migrations; }

}  // namespace CorvaneQueue::store
