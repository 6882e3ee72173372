-- Stores a document, and creates its queue if need be.
CREATE OR ALTER PROCEDURE dbo.mdqCreateMessage
  @MessageType nvarchar(64), @Queue nvarchar(250), @Description nvarchar(250), @CreateTimestamp datetime2(0),
  @Body nvarchar(max), @MessageID bigint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint;
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType WHERE Name = @MessageType AND Queue = @Queue;
  IF @Type IS NULL EXEC dbo.mdqCreateMessageType @MessageType, @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;  -- refused
  BEGIN TRANSACTION;
  INSERT INTO dbo.mdqDocument (MessageTypeID, CreateTimestamp, Description, Body)
  VALUES (@Type, @CreateTimestamp, @Description, @Body);
  SET @MessageID = CAST(SCOPE_IDENTITY() AS bigint);
  INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) VALUES (@Type, @MessageID);
  COMMIT TRANSACTION;
END;
GO
