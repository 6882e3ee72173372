-- A sentence for everything that is missing or different, and for every right that the user of the connection lacks.
-- What the library calls and reads must be there, whoever has written it; what its own store has besides only where
-- mdqVersion tells that this is one.
WITH wanted_columns AS (
  SELECT * FROM (VALUES
    (N'mdqMessageType', N'MessageTypeID'), (N'mdqMessageType', N'Name'), (N'mdqMessageType', N'Queue'),
    (N'mdqMessage', N'MessageID'), (N'mdqMessage', N'Description'), (N'mdqMessage', N'CreateTimestamp'),
    (N'mdqMessage', N'Body'), (N'mdqMessage', N'MessageTypeID'), (N'mdqMessage', N'AckReceive'),
    (N'mdqMessageAck', N'MessageID'), (N'mdqMessageAck', N'Description'), (N'mdqMessageAck', N'CreateTimestamp'),
    (N'mdqMessageAck', N'Body'), (N'mdqMessageAck', N'MessageTypeID')) v (relation, name)),
-- By position: T for a text of 16-bit characters, D for a date and time, 2, 4 and 8 for a whole number of so many bytes
-- at least; an output in the small letter o before it.
wanted_parameters AS (
  SELECT * FROM (VALUES
    (N'mdqCreateMessageType', 1, N'T'), (N'mdqCreateMessageType', 2, N'T'), (N'mdqCreateMessageType', 3, N'o2'),
    (N'mdqCreateMessage', 1, N'T'), (N'mdqCreateMessage', 2, N'T'), (N'mdqCreateMessage', 3, N'T'),
    (N'mdqCreateMessage', 4, N'D'), (N'mdqCreateMessage', 5, N'T'), (N'mdqCreateMessage', 6, N'o8'),
    (N'mdqGetMessagesTrans', 1, N'T'), (N'mdqGetMessagesTrans', 2, N'4'), (N'mdqGetMessagesTrans', 3, N'D'),
    (N'mdqAckReceive', 1, N'8'), (N'mdqAckReceive', 2, N'2'),
    (N'mdqDeleteActiveQueueMessagesOlderThan', 1, N'T'), (N'mdqDeleteActiveQueueMessagesOlderThan', 2, N'4'),
    (N'mdqDeleteAckQueueMessagesOlderThan', 1, N'T'), (N'mdqDeleteAckQueueMessagesOlderThan', 2, N'4'))
    v (name, place, kind)),
wanted_procedures AS (SELECT name, COUNT(*) AS inputs FROM wanted_parameters GROUP BY name),
own_procedures AS (
  SELECT * FROM (VALUES
    (N'mdqCreateMessageOnce'), (N'mdqQueueContent'), (N'mdqReadMessages'), (N'mdqChangeMessages'),
    (N'mdqRemoveQueue'), (N'mdqNoteRun'), (N'mdqNotedRuns'), (N'mdqBeginAttempt'),
    (N'mdqEndAttempts'), (N'mdqNoteFailure'), (N'mdqFailureReason')) v (name)),
called AS (
  SELECT name FROM wanted_procedures
  UNION ALL SELECT name FROM own_procedures WHERE OBJECT_ID(N'dbo.mdqVersion') IS NOT NULL),
parameters AS (
  SELECT OBJECT_NAME(p.object_id) AS name, p.parameter_id AS place, p.is_output, TYPE_NAME(p.user_type_id) AS shown,
         CASE TYPE_NAME(p.system_type_id)
           WHEN N'nvarchar' THEN N'T' WHEN N'nchar' THEN N'T' WHEN N'ntext' THEN N'T'
           WHEN N'datetime' THEN N'D' WHEN N'datetime2' THEN N'D' WHEN N'smalldatetime' THEN N'D'
           WHEN N'datetimeoffset' THEN N'D' WHEN N'smallint' THEN N'2' WHEN N'int' THEN N'4' WHEN N'bigint' THEN N'8'
           WHEN N'decimal' THEN N'8' WHEN N'numeric' THEN N'8' ELSE N'?' END AS kind
    FROM sys.parameters p WHERE OBJECT_SCHEMA_NAME(p.object_id) = N'dbo')
SELECT DISTINCT N'The table or view dbo.' + w.relation + N' is missing.' AS finding
  FROM wanted_columns w WHERE OBJECT_ID(N'dbo.' + w.relation) IS NULL
UNION ALL
SELECT N'The table or view dbo.' + w.relation + N' has no column ' + w.name + N'.'
  FROM wanted_columns w
 WHERE OBJECT_ID(N'dbo.' + w.relation) IS NOT NULL AND COL_LENGTH(N'dbo.' + w.relation, w.name) IS NULL
UNION ALL
SELECT DISTINCT N'The user ' + USER_NAME() + N' may not read dbo.' + w.relation + N': GRANT SELECT ON dbo.' +
                w.relation + N' TO ' + QUOTENAME(USER_NAME()) + N'.'
  FROM wanted_columns w WHERE HAS_PERMS_BY_NAME(N'dbo.' + w.relation, N'OBJECT', N'SELECT') = 0
UNION ALL
SELECT N'The procedure dbo.' + w.name + N' is missing.'
  FROM wanted_procedures w WHERE OBJECT_ID(N'dbo.' + w.name, N'P') IS NULL
UNION ALL
SELECT N'The procedure dbo.' + w.name + N' has another number of parameters than ' +
       CAST(w.inputs AS nvarchar(10)) + N'.'
  FROM wanted_procedures w
 WHERE OBJECT_ID(N'dbo.' + w.name, N'P') IS NOT NULL
   AND (SELECT COUNT(*) FROM parameters p WHERE p.name = w.name) <> w.inputs
UNION ALL
SELECT N'The procedure dbo.' + w.name + N' has as its parameter ' + CAST(w.place AS nvarchar(10)) + N' ' + p.shown +
       CASE p.is_output WHEN 1 THEN N' OUTPUT' ELSE N'' END + N', and ' +
       CASE RIGHT(w.kind, 1) WHEN N'T' THEN N'nvarchar' WHEN N'D' THEN N'datetime2' WHEN N'2' THEN N'smallint'
                             WHEN N'4' THEN N'int' ELSE N'bigint' END +
       CASE LEFT(w.kind, 1) WHEN N'o' COLLATE Latin1_General_100_BIN2 THEN N' OUTPUT' ELSE N'' END + N' is expected.'
  FROM wanted_parameters w JOIN parameters p ON p.name = w.name AND p.place = w.place
 WHERE p.is_output <> CASE LEFT(w.kind, 1) WHEN N'o' COLLATE Latin1_General_100_BIN2 THEN 1 ELSE 0 END
    OR p.kind <> RIGHT(w.kind, 1)
       AND (p.kind NOT IN (N'2', N'4', N'8') OR RIGHT(w.kind, 1) NOT IN (N'2', N'4', N'8') OR p.kind < RIGHT(w.kind, 1))
UNION ALL
SELECT N'The store lacks ' + missing.name +
       N', because it is of an older version or was changed: run "corvaneq database upgrade".'
  FROM (SELECT name FROM own_procedures WHERE OBJECT_ID(N'dbo.' + name, N'P') IS NULL
        UNION ALL SELECT N'mdqDocument.SenderKey' WHERE COL_LENGTH(N'dbo.mdqDocument', N'SenderKey') IS NULL
        UNION ALL SELECT N'mdqAcknowledged.AckTimestamp'
                   WHERE COL_LENGTH(N'dbo.mdqAcknowledged', N'AckTimestamp') IS NULL
        UNION ALL SELECT N'mdqFailure' WHERE OBJECT_ID(N'dbo.mdqFailure') IS NULL
        UNION ALL SELECT N'mdqRun' WHERE OBJECT_ID(N'dbo.mdqRun') IS NULL) missing
 WHERE OBJECT_ID(N'dbo.mdqVersion') IS NOT NULL
UNION ALL
SELECT N'The user ' + USER_NAME() + N' may not call dbo.' + w.name + N': GRANT EXECUTE ON dbo.' + w.name + N' TO ' +
       QUOTENAME(USER_NAME()) + N'.'
  FROM called w WHERE HAS_PERMS_BY_NAME(N'dbo.' + w.name, N'OBJECT', N'EXECUTE') = 0
UNION ALL
SELECT N'The database ' + DB_NAME() + N' reads without row versions, so that listings wait for writers: ' +
       N'ALTER DATABASE ' + QUOTENAME(DB_NAME()) + N' SET READ_COMMITTED_SNAPSHOT ON.'
  FROM sys.databases WHERE database_id = DB_ID() AND is_read_committed_snapshot_on = 0
