-- What the first version of the store did not have: keys of senders, the time of an acknowledgement, what workers failed
-- over, and how far long runs have come. Changes nothing that is there.
IF COL_LENGTH(N'dbo.mdqDocument', N'SenderKey') IS NULL
  ALTER TABLE dbo.mdqDocument ADD SenderKey uniqueidentifier NULL;
GO
IF NOT EXISTS (SELECT 1 FROM sys.indexes
                WHERE object_id = OBJECT_ID(N'dbo.mdqDocument') AND name = N'mdqDocumentSenderKey')
  CREATE UNIQUE INDEX mdqDocumentSenderKey ON dbo.mdqDocument (SenderKey) WHERE SenderKey IS NOT NULL;
GO
IF COL_LENGTH(N'dbo.mdqAcknowledged', N'AckTimestamp') IS NULL
  ALTER TABLE dbo.mdqAcknowledged
    ADD AckTimestamp datetime2(0) NULL CONSTRAINT mdqAcknowledgedAt DEFAULT SYSUTCDATETIME();
GO
IF OBJECT_ID(N'dbo.mdqFailure') IS NULL
  CREATE TABLE dbo.mdqFailure (
    MessageID bigint NOT NULL CONSTRAINT mdqFailureKey PRIMARY KEY,
    Attempts  int NOT NULL,
    Reason    nvarchar(max) NOT NULL
  );
-- The names of runs are longer than a key may be.
IF OBJECT_ID(N'dbo.mdqRun') IS NULL
  CREATE TABLE dbo.mdqRun (
    RunKey   binary(32) NOT NULL CONSTRAINT mdqRunKey PRIMARY KEY,
    Run      nvarchar(max) COLLATE Latin1_General_100_BIN2 NOT NULL,
    Position bigint NOT NULL
  );
GO
UPDATE dbo.mdqVersion SET Version = 2;
GO
