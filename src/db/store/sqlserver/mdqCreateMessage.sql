-- Stores a document, and creates its queue if need be.
CREATE OR ALTER PROCEDURE dbo.mdqCreateMessage
  @MessageType nvarchar(64), @Queue nvarchar(250), @Description nvarchar(250), @CreateTimestamp datetime2(0),
  @Body nvarchar(max), @MessageID bigint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Outer int = @@TRANCOUNT;
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType
   WHERE Name = @MessageType AND Queue = @Queue AND DATALENGTH(Queue) = DATALENGTH(@Queue);
  IF @Type IS NULL EXEC dbo.mdqCreateMessageType @MessageType, @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;  -- refused
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    INSERT INTO dbo.mdqDocument (MessageTypeID, CreateTimestamp, Description, Body)
    VALUES (@Type, @CreateTimestamp, @Description, @Body);
    SET @MessageID = CAST(SCOPE_IDENTITY() AS bigint);
    INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) VALUES (@Type, @MessageID);
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    THROW;
  END CATCH;
END;
GO
