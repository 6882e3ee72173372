-- Acknowledges a document: it no longer waits, and is kept. Once more is no error. One that a purge was faster to
-- take is not there.
CREATE OR ALTER PROCEDURE dbo.mdqAckReceive @MessageID bigint, @Flag smallint
AS
BEGIN
  SET NOCOUNT ON;
  IF @Flag <> 2
  BEGIN
    RAISERROR (N'mdqAckReceive knows only @Flag 2: the acknowledged document is kept.', 16, 1);
    RETURN;
  END;
  DECLARE @Type smallint, @Outer int = @@TRANCOUNT, @IsTaken bit = 0;
  SELECT @Type = MessageTypeID FROM dbo.mdqDocument WHERE MessageID = @MessageID;
  IF @Type IS NOT NULL
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    DELETE FROM dbo.mdqWaiting WHERE MessageTypeID = @Type AND MessageID = @MessageID;
    IF @@ROWCOUNT = 1
    BEGIN
      INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID) VALUES (@Type, @MessageID);
      SET @IsTaken = 1;
    END;
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    THROW;
  END CATCH;
  IF @IsTaken = 1 RETURN;
  IF EXISTS (SELECT 1 FROM dbo.mdqAcknowledged WHERE MessageTypeID = @Type AND MessageID = @MessageID) RETURN;
  DECLARE @Shown nvarchar(20) = CAST(@MessageID AS nvarchar(20));
  RAISERROR (N'There is no document with the identifier %s: it was never stored, or it has been purged.', 16, 1,
             @Shown);
END;
GO
