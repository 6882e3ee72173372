-- What the first version of the store did not have: keys of senders, the time of an acknowledgement, what workers
-- failed over, how far long runs have come, and which workers have nothing to do. Changes nothing that is there.
ALTER TABLE dbo."mdqDocument" ADD COLUMN IF NOT EXISTS "SenderKey" uuid;
CREATE UNIQUE INDEX IF NOT EXISTS "mdqDocumentSenderKey" ON dbo."mdqDocument" ("SenderKey")
  WHERE "SenderKey" IS NOT NULL;

ALTER TABLE dbo."mdqAcknowledged" ADD COLUMN IF NOT EXISTS "AckTimestamp" timestamp(0);
ALTER TABLE dbo."mdqAcknowledged" ALTER COLUMN "AckTimestamp" SET DEFAULT (now() AT TIME ZONE 'UTC');

CREATE TABLE IF NOT EXISTS dbo."mdqFailure" (
  "MessageID" bigint PRIMARY KEY,
  "Attempts"  integer NOT NULL,
  "Reason"    text NOT NULL
);
CREATE TABLE IF NOT EXISTS dbo."mdqRun" (
  "Run"      text PRIMARY KEY,
  "Position" bigint NOT NULL
);
-- Of sessions of now: not worth a line in the server's log.
CREATE UNLOGGED TABLE IF NOT EXISTS dbo."mdqIdle" (
  "MessageTypeID" smallint NOT NULL,
  "Backend"       integer NOT NULL,
  PRIMARY KEY ("MessageTypeID", "Backend")
) WITH (autovacuum_vacuum_threshold = 50, autovacuum_vacuum_scale_factor = 0);

UPDATE dbo."mdqVersion" SET "Version" = 2;
