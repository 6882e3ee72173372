-- Queues and documents. A document is stored once; two lists of identifiers tell which documents wait and which
-- are acknowledged, and two views show them as the tables that clients name. The names of queues are compared
-- without regard to letter case.
IF SCHEMA_ID(N'dbo') IS NULL EXEC (N'CREATE SCHEMA dbo');
GO
CREATE TABLE dbo.mdqVersion (Version int NOT NULL);
INSERT INTO dbo.mdqVersion VALUES (1);

CREATE TABLE dbo.mdqMessageType (
  MessageTypeID smallint IDENTITY(1, 1) NOT NULL CONSTRAINT mdqMessageTypeKey PRIMARY KEY,
  Name          nvarchar(64) COLLATE Latin1_General_100_BIN2 NOT NULL,
  Queue         nvarchar(250) COLLATE Latin1_General_100_CI_AS_KS_WS_SC NOT NULL,
  CONSTRAINT mdqMessageTypeName UNIQUE (Name, Queue)
);
CREATE TABLE dbo.mdqDocument (
  MessageID       bigint IDENTITY(1, 1) NOT NULL CONSTRAINT mdqDocumentKey PRIMARY KEY,
  MessageTypeID   smallint NOT NULL CONSTRAINT mdqDocumentType REFERENCES dbo.mdqMessageType,
  CreateTimestamp datetime2(0) NOT NULL,
  Description     nvarchar(250) NOT NULL,
  Body            nvarchar(max) NOT NULL
);
CREATE TABLE dbo.mdqWaiting (
  MessageTypeID smallint NOT NULL,
  MessageID     bigint NOT NULL,
  CONSTRAINT mdqWaitingKey PRIMARY KEY (MessageTypeID, MessageID)
);
CREATE TABLE dbo.mdqAcknowledged (
  MessageTypeID smallint NOT NULL,
  MessageID     bigint NOT NULL,
  CONSTRAINT mdqAcknowledgedKey PRIMARY KEY (MessageTypeID, MessageID)
);
GO
CREATE VIEW dbo.mdqMessage AS
  SELECT w.MessageID, d.Description, d.CreateTimestamp, d.Body, w.MessageTypeID, 0 AS AckReceive
    FROM dbo.mdqWaiting w LEFT JOIN dbo.mdqDocument d ON d.MessageID = w.MessageID;
GO
CREATE VIEW dbo.mdqMessageAck AS
  SELECT a.MessageID, d.Description, d.CreateTimestamp, d.Body, a.MessageTypeID
    FROM dbo.mdqAcknowledged a LEFT JOIN dbo.mdqDocument d ON d.MessageID = a.MessageID;
GO
