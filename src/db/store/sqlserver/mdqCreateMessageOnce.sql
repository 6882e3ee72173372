-- Stores a document, and creates its queue if need be. A sender gives a key of its own: should it not know whether the
-- document is stored, it calls again with the same one, and gets the identifier of the first call when that has come to
-- its end, also while its commit is under way: the index of keys lets the second one wait for it.
CREATE OR ALTER PROCEDURE dbo.mdqCreateMessageOnce
  @MessageType nvarchar(64), @Queue nvarchar(250), @Description nvarchar(250), @CreateTimestamp datetime2(0),
  @Body nvarchar(max), @SenderKey uniqueidentifier, @MessageID bigint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Outer int = @@TRANCOUNT;
  SET @MessageID = NULL;
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType
   WHERE Name = @MessageType AND Queue = @Queue AND DATALENGTH(Queue) = DATALENGTH(@Queue);
  IF @Type IS NULL EXEC dbo.mdqCreateMessageType @MessageType, @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;  -- refused
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    INSERT INTO dbo.mdqDocument (MessageTypeID, CreateTimestamp, Description, Body, SenderKey)
    VALUES (@Type, @CreateTimestamp, @Description, @Body, @SenderKey);
    SET @MessageID = CAST(SCOPE_IDENTITY() AS bigint);
    INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) VALUES (@Type, @MessageID);
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    DECLARE @Number int = ERROR_NUMBER();
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    SET @MessageID = NULL;
    IF @Number IN (2601, 2627) AND XACT_STATE() <> -1
      SELECT @MessageID = MessageID FROM dbo.mdqDocument WHERE SenderKey = @SenderKey;
    IF @MessageID IS NULL THROW;
  END CATCH;
END;
GO
