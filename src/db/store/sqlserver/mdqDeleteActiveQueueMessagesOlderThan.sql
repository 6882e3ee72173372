-- Deletes the waiting documents of a queue; those that a receiver holds stay. It does so in
-- batches that are too small for the server to lock the whole table instead of rows. The clients call it in a transaction
-- of theirs.
CREATE OR ALTER PROCEDURE dbo.mdqDeleteActiveQueueMessagesOlderThan @Queue nvarchar(250), @DeleteSeconds int
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Outer int = @@TRANCOUNT, @Rows int = 1;
  DECLARE @Before datetime2(0) = DATEADD(second, -@DeleteSeconds, SYSUTCDATETIME());
  DECLARE @Gone TABLE (MessageID bigint NOT NULL PRIMARY KEY);
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType
   WHERE Name = N'idoc' AND Queue = @Queue AND DATALENGTH(Queue) = DATALENGTH(@Queue);
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    WHILE @Rows > 0
    BEGIN
      DELETE TOP (2000) l OUTPUT deleted.MessageID INTO @Gone
        FROM dbo.mdqWaiting l WITH (UPDLOCK, READPAST, ROWLOCK) JOIN dbo.mdqDocument d ON d.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type AND (@DeleteSeconds <= 0 OR d.CreateTimestamp <= @Before);
      SET @Rows = @@ROWCOUNT;
      DELETE d FROM dbo.mdqDocument d JOIN @Gone g ON g.MessageID = d.MessageID;
      DELETE f FROM dbo.mdqFailure f JOIN @Gone g ON g.MessageID = f.MessageID;
      DELETE FROM @Gone;
    END;
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    THROW;
  END CATCH;
END;
GO
