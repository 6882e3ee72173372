#include "QueueSchema.h"

namespace CorvaneQueue::platform_layer {

namespace {

// The body stands apart, so that browsing and journals do not touch it; the bodies of messages that are
// gone are deleted many at a time, which is much less to write and sync: until then mqDropped names them.
// A box is a queue times two, plus one for its journal. Numbers of messages and positions never repeat,
// also when the newest message is gone: mqCounter remembers those that no stored body remembers.
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
};

}  // namespace

std::span<const std::string_view> queueMigrations() noexcept { return migrations; }

}  // namespace CorvaneQueue::platform_layer
