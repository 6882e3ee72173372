-- Acknowledges a document: it no longer waits, and is kept. Once more is no error.
CREATE OR ALTER PROCEDURE dbo.mdqAckReceive @MessageID bigint, @Flag smallint
AS
BEGIN
  SET NOCOUNT ON;
  IF @Flag <> 2
  BEGIN
    RAISERROR (N'mdqAckReceive knows only @Flag 2: the acknowledged document is kept.', 16, 1);
    RETURN;
  END;
  DECLARE @Type smallint;
  SELECT @Type = MessageTypeID FROM dbo.mdqDocument WHERE MessageID = @MessageID;
  IF @Type IS NULL
  BEGIN
    DECLARE @Shown nvarchar(20) = CAST(@MessageID AS nvarchar(20));
    RAISERROR (N'There is no document with the identifier %s: it was never stored, or it has been purged.', 16, 1,
               @Shown);
    RETURN;
  END;
  BEGIN TRANSACTION;
  DELETE FROM dbo.mdqWaiting WHERE MessageTypeID = @Type AND MessageID = @MessageID;
  IF NOT EXISTS (SELECT 1 FROM dbo.mdqAcknowledged WITH (UPDLOCK, HOLDLOCK)
                  WHERE MessageTypeID = @Type AND MessageID = @MessageID)
    INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID) VALUES (@Type, @MessageID);
  COMMIT TRANSACTION;
END;
GO
