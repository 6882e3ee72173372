-- Stores a document, and creates its queue if need be.
CREATE OR ALTER PROCEDURE dbo.mdqCreateMessage
  @MessageType nvarchar(64), @Queue nvarchar(250), @Description nvarchar(250), @CreateTimestamp datetime2(0),
  @Body nvarchar(max), @MessageID bigint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  EXEC dbo.mdqCreateMessageOnce @MessageType, @Queue, @Description, @CreateTimestamp, @Body, NULL, @MessageID OUTPUT;
END;
GO
