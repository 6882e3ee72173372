-- Deletes the acknowledged documents of a queue. In batches, which keeps the locks few.
CREATE OR ALTER PROCEDURE dbo.mdqDeleteAckQueueMessagesOlderThan @Queue nvarchar(250), @DeleteSeconds int
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Before datetime2(0) = DATEADD(second, -@DeleteSeconds, SYSUTCDATETIME());
  DECLARE @Gone TABLE (MessageID bigint NOT NULL PRIMARY KEY);
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType WHERE Name = N'idoc' AND Queue = @Queue;
  WHILE 1 = 1
  BEGIN
    DELETE FROM @Gone;
    BEGIN TRANSACTION;
    DELETE TOP (1000) l OUTPUT deleted.MessageID INTO @Gone
      FROM dbo.mdqAcknowledged l JOIN dbo.mdqDocument d ON d.MessageID = l.MessageID
     WHERE l.MessageTypeID = @Type AND (@DeleteSeconds <= 0 OR d.CreateTimestamp <= @Before);
    DELETE d FROM dbo.mdqDocument d JOIN @Gone g ON g.MessageID = d.MessageID;
    COMMIT TRANSACTION;
    IF NOT EXISTS (SELECT 1 FROM @Gone) BREAK;
  END;
END;
GO
