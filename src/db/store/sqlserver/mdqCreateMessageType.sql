-- Creates a queue; one that is there already keeps its key. Two who create one at a time wait for each other.
CREATE OR ALTER PROCEDURE dbo.mdqCreateMessageType
  @Name nvarchar(64), @Queue nvarchar(250), @MessageTypeID smallint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  IF DATALENGTH(@Queue) = 0
  BEGIN
    RAISERROR (N'A queue needs a name; nothing was stored.', 16, 1);
    RETURN;
  END;
  IF RIGHT(@Queue, 1) = N' ' AND DATALENGTH(@Queue) <> 2 * LEN(@Queue)
  BEGIN
    RAISERROR (N'The name of a queue cannot end with a blank in this store; nothing was stored.', 16, 1);
    RETURN;
  END;
  SET @MessageTypeID = NULL;
  SELECT @MessageTypeID = MessageTypeID FROM dbo.mdqMessageType WHERE Name = @Name AND Queue = @Queue;
  IF @MessageTypeID IS NOT NULL RETURN;
  DECLARE @Outer int = @@TRANCOUNT;
  IF @Outer = 0 BEGIN TRANSACTION;
  SELECT @MessageTypeID = MessageTypeID FROM dbo.mdqMessageType WITH (UPDLOCK, HOLDLOCK)
   WHERE Name = @Name AND Queue = @Queue;
  IF @MessageTypeID IS NULL
  BEGIN
    INSERT INTO dbo.mdqMessageType (Name, Queue) VALUES (@Name, @Queue);
    SET @MessageTypeID = CAST(SCOPE_IDENTITY() AS smallint);
  END;
  IF @Outer = 0 COMMIT TRANSACTION;
END;
GO
