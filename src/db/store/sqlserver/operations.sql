-- What workers do, and those who operate the store see and do. Lists are dbo.mdqWaiting and dbo.mdqAcknowledged, the
-- journal.

CREATE OR ALTER PROCEDURE dbo.mdqTypeOf @Queue nvarchar(250), @Type smallint OUTPUT
AS
BEGIN
  SET NOCOUNT ON;
  SET @Type = NULL;
  SELECT @Type = MessageTypeID FROM dbo.mdqMessageType
   WHERE Name = N'idoc' AND Queue = @Queue AND DATALENGTH(Queue) = DATALENGTH(@Queue);
  IF @Type IS NULL RAISERROR (N'There is no queue "%s".', 16, 1, @Queue);
END;
GO
-- Times are seconds since 1970, -1 for none. The server tells nobody without special rights which rows are locked, so
-- that documents that are held count as waiting alone.
CREATE OR ALTER PROCEDURE dbo.mdqQueueContent @Queue nvarchar(250)
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Epoch datetime2(0) = '1970-01-01T00:00:00';
  EXEC dbo.mdqTypeOf @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;
  SELECT w.Number, w.Bytes, CAST(0 AS bigint) AS Held, a.Number, a.Bytes,
         ISNULL(DATEDIFF_BIG(second, @Epoch, w.Oldest), -1),
         ISNULL(DATEDIFF_BIG(second, @Epoch, CASE WHEN a.Last > w.Last OR w.Last IS NULL THEN a.Last ELSE w.Last END), -1),
         ISNULL(DATEDIFF_BIG(second, @Epoch, a.Taken), -1)
    FROM (SELECT COUNT_BIG(*) AS Number, ISNULL(SUM(DATALENGTH(d.Body)), 0) AS Bytes,
                 MIN(d.CreateTimestamp) AS Oldest, MAX(d.CreateTimestamp) AS Last
            FROM dbo.mdqWaiting q JOIN dbo.mdqDocument d ON d.MessageID = q.MessageID
           WHERE q.MessageTypeID = @Type) w
   CROSS JOIN (SELECT COUNT_BIG(*) AS Number, ISNULL(SUM(DATALENGTH(d.Body)), 0) AS Bytes,
                      MAX(q.AckTimestamp) AS Taken, MAX(d.CreateTimestamp) AS Last
                 FROM dbo.mdqAcknowledged q JOIN dbo.mdqDocument d ON d.MessageID = q.MessageID
                WHERE q.MessageTypeID = @Type) a;
END;
GO
-- Documents of a list behind an identifier, or before it, at most so many.
CREATE OR ALTER PROCEDURE dbo.mdqReadMessages
  @Queue nvarchar(250), @IsJournal smallint, @From bigint, @IsBackward smallint, @Count int, @WithBodies smallint
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Epoch datetime2(0) = '1970-01-01T00:00:00';
  DECLARE @Listed TABLE (MessageID bigint NOT NULL PRIMARY KEY, Taken datetime2(0) NULL);
  EXEC dbo.mdqTypeOf @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;
  IF @IsJournal = 0 AND @IsBackward = 0
    INSERT INTO @Listed SELECT TOP (@Count) MessageID, NULL FROM dbo.mdqWaiting
     WHERE MessageTypeID = @Type AND MessageID > @From ORDER BY MessageID;
  ELSE IF @IsJournal = 0
    INSERT INTO @Listed SELECT TOP (@Count) MessageID, NULL FROM dbo.mdqWaiting
     WHERE MessageTypeID = @Type AND MessageID < @From ORDER BY MessageID DESC;
  ELSE IF @IsBackward = 0
    INSERT INTO @Listed SELECT TOP (@Count) MessageID, AckTimestamp FROM dbo.mdqAcknowledged
     WHERE MessageTypeID = @Type AND MessageID > @From ORDER BY MessageID;
  ELSE
    INSERT INTO @Listed SELECT TOP (@Count) MessageID, AckTimestamp FROM dbo.mdqAcknowledged
     WHERE MessageTypeID = @Type AND MessageID < @From ORDER BY MessageID DESC;
  SELECT l.MessageID, d.Description, DATEDIFF_BIG(second, @Epoch, d.CreateTimestamp) AS Sent,
         ISNULL(DATEDIFF_BIG(second, @Epoch, l.Taken), -1) AS Acknowledged,
         CAST(DATALENGTH(d.Body) AS bigint) AS Length, CASE WHEN @WithBodies <> 0 THEN d.Body ELSE N'' END AS Body
    FROM @Listed l JOIN dbo.mdqDocument d ON d.MessageID = l.MessageID
   ORDER BY CASE WHEN @IsBackward <> 0 THEN -l.MessageID ELSE l.MessageID END;
END;
GO
-- What becomes of documents, by their identifiers with a blank between them: 0 deleted, 1 acknowledged, 2 moved to
-- the waiting ones of a queue, 3 copied there. Those that somebody holds stay.
CREATE OR ALTER PROCEDURE dbo.mdqChangeMessages
  @Queue nvarchar(250), @IsJournal smallint, @Messages nvarchar(max), @Fate smallint, @To nvarchar(250)
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @ToType smallint, @Outer int = @@TRANCOUNT, @Done bigint, @Held bigint;
  DECLARE @All TABLE (MessageID bigint NOT NULL PRIMARY KEY);
  DECLARE @Ours TABLE (MessageID bigint NOT NULL PRIMARY KEY);
  DECLARE @Copies TABLE (MessageID bigint NOT NULL PRIMARY KEY);
  EXEC dbo.mdqTypeOf @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;
  IF @Fate >= 2
  BEGIN
    EXEC dbo.mdqTypeOf @To, @ToType OUTPUT;
    IF @ToType IS NULL RETURN;
  END;
  INSERT INTO @All SELECT DISTINCT CAST(value AS bigint) FROM STRING_SPLIT(@Messages, N' ') WHERE value <> N'';
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    IF @Fate = 3 AND @IsJournal = 0
      INSERT INTO @Ours SELECT l.MessageID FROM dbo.mdqWaiting l JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    ELSE IF @Fate = 3
      INSERT INTO @Ours SELECT l.MessageID FROM dbo.mdqAcknowledged l JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    ELSE IF @IsJournal = 0
      DELETE l OUTPUT deleted.MessageID INTO @Ours
        FROM dbo.mdqWaiting l WITH (READPAST, ROWLOCK) JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    ELSE
      DELETE l OUTPUT deleted.MessageID INTO @Ours
        FROM dbo.mdqAcknowledged l WITH (READPAST, ROWLOCK) JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    SELECT @Done = COUNT_BIG(*) FROM @Ours;
    DELETE a FROM @All a JOIN @Ours o ON o.MessageID = a.MessageID;
    -- From row versions: those of others' open transactions are still there.
    IF @IsJournal = 0
      SELECT @Held = COUNT_BIG(*) FROM dbo.mdqWaiting l JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    ELSE
      SELECT @Held = COUNT_BIG(*) FROM dbo.mdqAcknowledged l JOIN @All a ON a.MessageID = l.MessageID
       WHERE l.MessageTypeID = @Type;
    IF @Fate = 3
    BEGIN
      INSERT INTO dbo.mdqDocument (MessageTypeID, CreateTimestamp, Description, Body)
        OUTPUT inserted.MessageID INTO @Copies
        SELECT @ToType, d.CreateTimestamp, d.Description, d.Body
          FROM dbo.mdqDocument d JOIN @Ours o ON o.MessageID = d.MessageID ORDER BY d.MessageID;
      INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) SELECT @ToType, MessageID FROM @Copies;
    END;
    IF @Fate = 2
    BEGIN
      UPDATE d SET MessageTypeID = @ToType FROM dbo.mdqDocument d JOIN @Ours o ON o.MessageID = d.MessageID
       WHERE d.MessageTypeID <> @ToType;
      INSERT INTO dbo.mdqWaiting (MessageTypeID, MessageID) SELECT @ToType, MessageID FROM @Ours;
    END;
    IF @Fate = 1
      INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID) SELECT @Type, MessageID FROM @Ours;
    IF @Fate = 0
      DELETE d FROM dbo.mdqDocument d JOIN @Ours o ON o.MessageID = d.MessageID;
    IF @Fate < 2
      DELETE f FROM dbo.mdqFailure f JOIN @Ours o ON o.MessageID = f.MessageID;
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    THROW;
  END CATCH;
  SELECT @Done AS Done, @Held AS Held;
END;
GO
-- A queue that holds documents stays.
CREATE OR ALTER PROCEDURE dbo.mdqRemoveQueue @Queue nvarchar(250)
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Type smallint, @Outer int = @@TRANCOUNT, @End nvarchar(260) = N' > ' + @Queue, @IsUsed bit = 0;
  EXEC dbo.mdqTypeOf @Queue, @Type OUTPUT;
  IF @Type IS NULL RETURN;
  BEGIN TRY
    IF @Outer = 0 BEGIN TRANSACTION; ELSE SAVE TRANSACTION mdqCall;
    DELETE FROM dbo.mdqMessageType WHERE MessageTypeID = @Type;
    DELETE FROM dbo.mdqRun
     WHERE RIGHT(Run, DATALENGTH(@End) / 2) COLLATE Latin1_General_100_CI_AS_KS_WS_SC = @End
       AND DATALENGTH(RIGHT(Run, DATALENGTH(@End) / 2)) = DATALENGTH(@End);
    IF @Outer = 0 COMMIT TRANSACTION;
  END TRY
  BEGIN CATCH
    IF @Outer = 0 AND XACT_STATE() <> 0 ROLLBACK TRANSACTION;
    IF @Outer > 0 AND XACT_STATE() = 1 ROLLBACK TRANSACTION mdqCall;
    IF ERROR_NUMBER() <> 547 THROW;
    SET @IsUsed = 1;
  END CATCH;
  IF @IsUsed = 1
    RAISERROR (N'Documents have come into the queue "%s" meanwhile; it stays. End its senders first.', 16, 1, @Queue);
END;
GO
-- How far a run has come, -1 to forget it.
CREATE OR ALTER PROCEDURE dbo.mdqNoteRun @Run nvarchar(max), @Position bigint
AS
BEGIN
  SET NOCOUNT ON;
  DECLARE @Key binary(32) = HASHBYTES('SHA2_256', @Run);
  IF @Position = -1
    DELETE FROM dbo.mdqRun WHERE RunKey = @Key;
  ELSE
  BEGIN
    UPDATE dbo.mdqRun SET Position = @Position WHERE RunKey = @Key;
    IF @@ROWCOUNT = 0 INSERT INTO dbo.mdqRun (RunKey, Run, Position) VALUES (@Key, @Run, @Position);
  END;
END;
GO
-- Runs of which the names begin and end so; letter case of a queue's name at the end does not count.
CREATE OR ALTER PROCEDURE dbo.mdqNotedRuns @Work nvarchar(max), @End nvarchar(max)
AS
BEGIN
  SET NOCOUNT ON;
  SELECT Run, Position FROM dbo.mdqRun
   WHERE LEFT(Run, DATALENGTH(@Work) / 2) = @Work COLLATE Latin1_General_100_BIN2
     AND DATALENGTH(LEFT(Run, DATALENGTH(@Work) / 2)) = DATALENGTH(@Work)
     AND RIGHT(Run, DATALENGTH(@End) / 2) COLLATE Latin1_General_100_CI_AS_KS_WS_SC = @End
     AND DATALENGTH(RIGHT(Run, DATALENGTH(@End) / 2)) = DATALENGTH(@End)
   ORDER BY Position;
END;
GO
-- What dies with the server is an attempt, not a document.
CREATE OR ALTER PROCEDURE dbo.mdqBeginAttempt @MessageID bigint
AS
BEGIN
  SET NOCOUNT ON;
  BEGIN TRANSACTION;
  UPDATE dbo.mdqFailure SET Attempts = Attempts + 1 WHERE MessageID = @MessageID;
  IF @@ROWCOUNT = 0 INSERT INTO dbo.mdqFailure (MessageID, Attempts, Reason) VALUES (@MessageID, 1, N'');
  COMMIT TRANSACTION WITH (DELAYED_DURABILITY = ON);
  SELECT Attempts FROM dbo.mdqFailure WHERE MessageID = @MessageID;
END;
GO
CREATE OR ALTER PROCEDURE dbo.mdqEndAttempts @MessageID bigint
AS
BEGIN
  SET NOCOUNT ON;
  BEGIN TRANSACTION;
  DELETE FROM dbo.mdqFailure WHERE MessageID = @MessageID;
  COMMIT TRANSACTION WITH (DELAYED_DURABILITY = ON);
END;
GO
CREATE OR ALTER PROCEDURE dbo.mdqNoteFailure @MessageID bigint, @Reason nvarchar(max), @Attempts int
AS
BEGIN
  SET NOCOUNT ON;
  UPDATE dbo.mdqFailure SET Reason = @Reason, Attempts = @Attempts WHERE MessageID = @MessageID;
END;
GO
CREATE OR ALTER PROCEDURE dbo.mdqFailureReason @MessageID bigint
AS
BEGIN
  SET NOCOUNT ON;
  SELECT ISNULL((SELECT Reason FROM dbo.mdqFailure WHERE MessageID = @MessageID), N'') AS Reason;
END;
GO
