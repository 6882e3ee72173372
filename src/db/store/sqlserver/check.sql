-- A sentence for everything that is missing or different, and for every right that the user of the connection lacks.
WITH wanted_columns AS (
  SELECT * FROM (VALUES
    (N'mdqMessageType', N'MessageTypeID'), (N'mdqMessageType', N'Name'), (N'mdqMessageType', N'Queue'),
    (N'mdqMessage', N'MessageID'), (N'mdqMessage', N'Description'), (N'mdqMessage', N'CreateTimestamp'),
    (N'mdqMessage', N'Body'), (N'mdqMessage', N'MessageTypeID'), (N'mdqMessage', N'AckReceive'),
    (N'mdqMessageAck', N'MessageID'), (N'mdqMessageAck', N'Description'), (N'mdqMessageAck', N'CreateTimestamp'),
    (N'mdqMessageAck', N'Body'), (N'mdqMessageAck', N'MessageTypeID')) v (relation, name)),
wanted_procedures AS (
  SELECT * FROM (VALUES
    (N'mdqCreateMessageType', 3), (N'mdqCreateMessage', 6), (N'mdqGetMessagesTrans', 3), (N'mdqAckReceive', 2),
    (N'mdqDeleteActiveQueueMessagesOlderThan', 2), (N'mdqDeleteAckQueueMessagesOlderThan', 2)) v (name, inputs))
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
   AND (SELECT COUNT(*) FROM sys.parameters p WHERE p.object_id = OBJECT_ID(N'dbo.' + w.name, N'P')) <> w.inputs
UNION ALL
SELECT N'The user ' + USER_NAME() + N' may not call dbo.' + w.name + N': GRANT EXECUTE ON dbo.' + w.name + N' TO ' +
       QUOTENAME(USER_NAME()) + N'.'
  FROM wanted_procedures w WHERE HAS_PERMS_BY_NAME(N'dbo.' + w.name, N'OBJECT', N'EXECUTE') = 0
UNION ALL
SELECT N'The database ' + DB_NAME() + N' reads without row versions, so that listings wait for writers: ' +
       N'ALTER DATABASE ' + QUOTENAME(DB_NAME()) + N' SET READ_COMMITTED_SNAPSHOT ON.'
  FROM sys.databases WHERE database_id = DB_ID() AND is_read_committed_snapshot_on = 0
