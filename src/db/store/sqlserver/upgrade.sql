-- What the first version of the store did not have: keys of senders. Changes nothing that is there.
IF COL_LENGTH(N'dbo.mdqDocument', N'SenderKey') IS NULL
  ALTER TABLE dbo.mdqDocument ADD SenderKey uniqueidentifier NULL;
GO
IF NOT EXISTS (SELECT 1 FROM sys.indexes
                WHERE object_id = OBJECT_ID(N'dbo.mdqDocument') AND name = N'mdqDocumentSenderKey')
  CREATE UNIQUE INDEX mdqDocumentSenderKey ON dbo.mdqDocument (SenderKey) WHERE SenderKey IS NOT NULL;
GO
UPDATE dbo.mdqVersion SET Version = 2;
GO
