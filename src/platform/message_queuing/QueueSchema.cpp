#include "QueueSchema.h"

namespace CorvaneQueue::platform_layer {

namespace {

// A message is one row, by its key (Box::key); only a large body stands apart, so that browsing and
// journals do not touch it. Large bodies of messages that are gone are deleted many at a time: until then
// mqDropped names them. Numbers of messages and positions never repeat: mqCounter is at least as high as all
// that were given.
// Of a message that has been put somewhere: where its box begins, whether it is one of those 64, and up to
// where its box has been summarized.
#define BOX "NEW.key >> 42 << 42"
#define IS_TIME "((NEW.key & 4398046511103) + ((NEW.key & 4398046511103) >> 6)) & 63 = 0"
#define FIRST_IN_BOX "(SELECT min(key) FROM mqMessage WHERE key BETWEEN " BOX " AND NEW.key)"
#define SUMMARIZED                                             \
  "(SELECT lastKey FROM mqSummary WHERE firstKey BETWEEN " BOX \
  " AND NEW.key"                                               \
  " ORDER BY firstKey DESC LIMIT 1)"
#define SUMMARIZE                                                                                     \
  " DELETE FROM mqSummary"                                                                            \
  "  WHERE " IS_TIME " AND lastKey < " FIRST_IN_BOX                                                   \
  " AND firstKey IN"                                                                                  \
  "   (SELECT firstKey FROM mqSummary WHERE firstKey BETWEEN " BOX                                    \
  " AND NEW.key ORDER BY firstKey LIMIT 8);"                                                          \
  " INSERT INTO mqSummary"                                                                            \
  "  SELECT min(key), max(key), min(sentTime), max(sentTime), labelSigns(key & 4398046511103, label)" \
  "    FROM (SELECT key, sentTime, label FROM mqMessage"                                              \
  "           WHERE " IS_TIME " AND coalesce(" SUMMARIZED ", " FIRST_IN_BOX                           \
  ") <= NEW.key - 1024"                                                                               \
  "             AND key > coalesce(" SUMMARIZED ", " BOX                                              \
  ") AND key < NEW.key ORDER BY key LIMIT 2048)"                                                      \
  "  HAVING count(*) > 0;"

constexpr std::string_view migrations[] = {
    R"sql(
CREATE TABLE dbo.mqInstallation (identity BLOB NOT NULL);
CREATE TABLE dbo.mqQueue (
  queueId         INTEGER PRIMARY KEY AUTOINCREMENT,
  kind            INTEGER NOT NULL CHECK (kind IN (0, 1)),
  name            TEXT NOT NULL COLLATE QUEUE_NAME,
  isTransactional INTEGER NOT NULL,
  isWorldReadable INTEGER NOT NULL,
  keepsJournal    INTEGER NOT NULL,
  quota           INTEGER NOT NULL,
  journalQuota    INTEGER NOT NULL,
  bytes           INTEGER NOT NULL DEFAULT 0,
  journalBytes    INTEGER NOT NULL DEFAULT 0,
  UNIQUE (kind, name)
);
CREATE TABLE dbo.mqHeader (
  box         INTEGER NOT NULL,
  position    INTEGER NOT NULL,
  messageId   INTEGER NOT NULL,
  label       TEXT NOT NULL,
  appSpecific INTEGER NOT NULL,
  delivery    INTEGER NOT NULL,
  sentTime    INTEGER NOT NULL,
  arrivedTime INTEGER NOT NULL,
  bodyLength  INTEGER NOT NULL,
  checksum    INTEGER NOT NULL,
  PRIMARY KEY (box, position)
) WITHOUT ROWID;
CREATE TABLE dbo.mqBody (
  messageId INTEGER PRIMARY KEY,
  body      BLOB NOT NULL
);
CREATE TABLE dbo.mqDropped (messageId INTEGER PRIMARY KEY);
CREATE TABLE dbo.mqCounter (value INTEGER NOT NULL);
INSERT INTO dbo.mqCounter VALUES (0);
)sql",
    // Nothing changes but the rules by which processes take turns and sync; twice.
    "",
    "",
    R"sql(
CREATE TABLE dbo.mqMessage (
  key         INTEGER PRIMARY KEY,
  messageId   INTEGER NOT NULL,
  label       TEXT NOT NULL,
  appSpecific INTEGER NOT NULL,
  delivery    INTEGER NOT NULL,
  sentTime    INTEGER NOT NULL,
  arrivedTime INTEGER NOT NULL,
  bodyLength  INTEGER NOT NULL,
  checksum    INTEGER NOT NULL,
  body        BLOB
);
INSERT INTO dbo.mqMessage
  SELECT box << 42 | position, messageId, label, appSpecific, delivery, sentTime, arrivedTime, bodyLength,
         checksum,
         CASE WHEN bodyLength <= 2048 THEN (SELECT body FROM dbo.mqBody b WHERE b.messageId = h.messageId) END
    FROM dbo.mqHeader h ORDER BY box, position;
UPDATE dbo.mqCounter SET value = max(value, (SELECT coalesce(max(messageId), 0) FROM dbo.mqBody));
DELETE FROM dbo.mqBody WHERE messageId NOT IN (SELECT messageId FROM dbo.mqMessage WHERE body IS NULL);
DELETE FROM dbo.mqDropped;
DROP TABLE dbo.mqHeader;
)sql",
    // When a message was taken into the journal (not known of older ones), and what is in each queue. For
    // operators: how far their unfinished work has come, and which messages a worker failed over.
    R"sql(
CREATE TABLE dbo.mqRun (run TEXT PRIMARY KEY, position INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE dbo.mqFailure (
  messageId INTEGER PRIMARY KEY,
  attempts  INTEGER NOT NULL,
  reason    TEXT NOT NULL
);
ALTER TABLE dbo.mqMessage ADD COLUMN takenTime INTEGER;
ALTER TABLE dbo.mqQueue ADD COLUMN messages INTEGER NOT NULL DEFAULT 0;
ALTER TABLE dbo.mqQueue ADD COLUMN journalMessages INTEGER NOT NULL DEFAULT 0;
ALTER TABLE dbo.mqQueue ADD COLUMN lastSent INTEGER;
ALTER TABLE dbo.mqQueue ADD COLUMN lastTaken INTEGER;
UPDATE dbo.mqQueue SET
  (messages, bytes, lastSent) =
    (SELECT count(*), coalesce(sum(bodyLength), 0), max(arrivedTime) FROM dbo.mqMessage
      WHERE key BETWEEN queueId << 43 AND (queueId << 43) + 4398046511103),
  (journalMessages, journalBytes) =
    (SELECT count(*), coalesce(sum(bodyLength), 0) FROM dbo.mqMessage
      WHERE key BETWEEN (queueId << 43) + 4398046511104 AND (queueId << 43) + 8796093022207);
)sql",
    // Summaries of messages that stand one behind the other in a box, for searches: of about a thousand
    // numbers each, made when one of 64 messages comes behind them. What is put among older ones takes their
    // summary away; those of messages that are gone go a few at a time. And a rule by which processes read
    // ahead.
    R"sql(
CREATE TABLE dbo.mqSummary (
  firstKey INTEGER PRIMARY KEY,
  lastKey  INTEGER NOT NULL,
  sentFrom INTEGER NOT NULL,
  sentTo   INTEGER NOT NULL,
  signs    BLOB NOT NULL
);
CREATE TRIGGER dbo.mqSent AFTER INSERT ON mqMessage WHEN )sql" IS_TIME " BEGIN" SUMMARIZE R"sql(
END;
CREATE TRIGGER dbo.mqPut AFTER UPDATE OF key ON mqMessage BEGIN
  DELETE FROM mqSummary
   WHERE firstKey = (SELECT max(firstKey) FROM mqSummary WHERE firstKey <= NEW.key) AND lastKey >= NEW.key;
)sql" SUMMARIZE R"sql(
END;
)sql",
};
#undef SUMMARIZE
#undef SUMMARIZED
#undef FIRST_IN_BOX
#undef IS_TIME
#undef BOX

}  // namespace

std::span<const std::string_view> queueMigrations() noexcept { return migrations; }

}  // namespace CorvaneQueue::platform_layer
