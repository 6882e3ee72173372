-- The waiting documents of a queue, oldest identifier first. A single one is held until the end of the caller's
-- transaction: other receivers pass it over. All of them are read from row versions, without waiting for anybody.
CREATE OR ALTER PROCEDURE dbo.mdqGetMessagesTrans
  @QueueName nvarchar(250), @MaxRecords int, @MinAge datetime2(0)
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint;
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType 
   WHERE Name = N'idoc' AND Queue = @QueueName AND DATALENGTH(Queue) = DATALENGTH(@QueueName);
  IF @MaxRecords = 1
    SELECT TOP (1) d.MessageID, d.Description, d.CreateTimestamp, N'idoc' AS Name, d.Body
      FROM dbo.mdqWaiting w WITH (UPDLOCK, READPAST, ROWLOCK)
      JOIN dbo.mdqDocument d ON d.MessageID = w.MessageID
     WHERE w.MessageTypeID = @Type AND d.CreateTimestamp >= @MinAge
     ORDER BY w.MessageID;
  ELSE
    SELECT TOP (CASE WHEN @MaxRecords > 0 THEN CAST(@MaxRecords AS bigint) ELSE CAST(9223372036854775807 AS bigint) END)
           d.MessageID, d.Description, d.CreateTimestamp, N'idoc' AS Name, d.Body
      FROM dbo.mdqWaiting w JOIN dbo.mdqDocument d ON d.MessageID = w.MessageID
     WHERE w.MessageTypeID = @Type AND d.CreateTimestamp >= @MinAge
     ORDER BY w.MessageID;
END;
GO
