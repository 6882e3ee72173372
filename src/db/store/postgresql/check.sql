-- A sentence for everything that is missing or different, and for every right that the user of the connection lacks.
-- What the library calls and reads must be there, whoever has written it; what its own store has besides only where
-- mdqVersion tells that this is one.
WITH wanted_columns(relation, columns) AS (VALUES
  ('mdqMessageType', ARRAY['MessageTypeID', 'Name', 'Queue']),
  ('mdqMessage', ARRAY['MessageID', 'Description', 'CreateTimestamp', 'Body', 'MessageTypeID', 'AckReceive']),
  ('mdqMessageAck', ARRAY['MessageID', 'Description', 'CreateTimestamp', 'Body', 'MessageTypeID'])),
-- The types that values are given with, and the categories of the columns that come back.
wanted_functions(name, inputs, outputs) AS (VALUES
  ('mdqCreateMessageType', ARRAY['text', 'text']::regtype[], ''),
  ('mdqCreateMessage', ARRAY['text', 'text', 'text', 'timestamp', 'text']::regtype[], 'N'),
  ('mdqGetMessagesTrans', ARRAY['text', 'integer', 'timestamp']::regtype[], 'NSDSS'),
  ('mdqAckReceive', ARRAY['bigint', 'smallint']::regtype[], ''),
  ('mdqDeleteActiveQueueMessagesOlderThan', ARRAY['text', 'integer']::regtype[], ''),
  ('mdqDeleteAckQueueMessagesOlderThan', ARRAY['text', 'integer']::regtype[], '')),
wanted_rights(relation, rights) AS (VALUES
  ('mdqMessageType', 'SELECT'), ('mdqMessage', 'SELECT'), ('mdqMessageAck', 'SELECT')),
own_rights(relation, rights) AS (VALUES
  ('mdqMessageType', 'SELECT, INSERT, UPDATE, DELETE'), ('mdqDocument', 'SELECT, INSERT, UPDATE, DELETE'),
  ('mdqWaiting', 'SELECT, INSERT, UPDATE, DELETE'), ('mdqAcknowledged', 'SELECT, INSERT, UPDATE, DELETE'),
  ('mdqFailure', 'SELECT, INSERT, UPDATE, DELETE'), ('mdqRun', 'SELECT, INSERT, UPDATE, DELETE'),
  ('mdqIdle', 'SELECT, INSERT, DELETE')),
own_functions(name) AS (VALUES
  ('mdqCreateMessageOnce'), ('mdqListen'), ('mdqWork'), ('mdqTell'), ('mdqTypeOf'), ('mdqSeconds'),
  ('mdqQueueContent'), ('mdqReadMessages'), ('mdqChangeMessages'), ('mdqRemoveQueue'), ('mdqNoteRun'),
  ('mdqNotedRuns'), ('mdqBeginAttempt'), ('mdqEndAttempts'), ('mdqNoteFailure'), ('mdqFailureReason')),
own_columns(relation, name) AS (VALUES ('mdqDocument', 'SenderKey'), ('mdqAcknowledged', 'AckTimestamp')),
relations AS (
  SELECT c.oid, c.relname FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace WHERE n.nspname = 'dbo'),
is_own AS (SELECT 1 FROM relations WHERE relname = 'mdqVersion'),
functions AS (
  SELECT p.oid, p.proname, p.pronargs, p.proargtypes::oid[] AS inputs,
         CASE WHEN t.typtype = 'c' THEN NULL  -- a row of a table: told when it is read
              ELSE coalesce((SELECT string_agg(o.typcategory::text, '' ORDER BY a.place)
                               FROM unnest(p.proallargtypes, p.proargmodes) WITH ORDINALITY a (type, mode, place)
                               JOIN pg_type o ON o.oid = a.type WHERE a.mode IN ('o', 't')), t.typcategory::text)
         END AS outputs
    FROM pg_proc p JOIN pg_namespace n ON n.oid = p.pronamespace JOIN pg_type t ON t.oid = p.prorettype
   WHERE n.nspname = 'dbo'),
-- A value fits a parameter of its type, of a wider one, or, being a text, of any kind of text.
fitting AS (
  SELECT w.name, f.oid FROM wanted_functions w JOIN functions f ON f.proname = w.name
   WHERE f.pronargs = cardinality(w.inputs)
     AND NOT EXISTS (
       SELECT 1 FROM unnest(w.inputs, f.inputs) i (given, taken)
        WHERE i.given <> i.taken
          AND NOT (i.given = 'text'::regtype AND (SELECT t.typcategory = 'S' FROM pg_type t WHERE t.oid = i.taken))
          AND NOT EXISTS (SELECT 1 FROM pg_cast c
                           WHERE c.castsource = i.given AND c.casttarget = i.taken AND c.castcontext = 'i')))
SELECT 'The schema dbo is missing: run "corvaneq database install".'
 WHERE NOT EXISTS (SELECT 1 FROM pg_namespace WHERE nspname = 'dbo')
UNION ALL
SELECT format('The user %s may not use the schema dbo: GRANT USAGE ON SCHEMA dbo TO %s.', current_user, current_user)
  FROM pg_namespace WHERE nspname = 'dbo' AND NOT has_schema_privilege(oid, 'USAGE')
UNION ALL
SELECT format('The database %s has a character type (LC_CTYPE) in which letter case counts beyond ASCII: make it with another, such as C.UTF-8.', current_database())
 WHERE lower('Ä') <> 'ä'
UNION ALL
SELECT format('The table or view dbo."%s" is missing.', w.relation)
  FROM wanted_columns w WHERE NOT EXISTS (SELECT 1 FROM relations r WHERE r.relname = w.relation)
UNION ALL
SELECT format('The table or view dbo."%s" has no column "%s".', w.relation, wanted)
  FROM wanted_columns w JOIN relations r ON r.relname = w.relation CROSS JOIN unnest(w.columns) wanted
 WHERE NOT EXISTS (SELECT 1 FROM pg_attribute a
                    WHERE a.attrelid = r.oid AND a.attname = wanted AND NOT a.attisdropped)
UNION ALL
SELECT format('The procedure dbo."%s" is missing.', w.name)
  FROM wanted_functions w WHERE NOT EXISTS (SELECT 1 FROM functions f WHERE f.proname = w.name)
UNION ALL
SELECT format('The procedure dbo."%s" takes (%s), and it is given (%s).', w.name,
              array_to_string(f.inputs::regtype[], ', '), array_to_string(w.inputs, ', '))
  FROM wanted_functions w JOIN functions f ON f.proname = w.name
 WHERE NOT EXISTS (SELECT 1 FROM fitting g WHERE g.name = w.name)
UNION ALL
SELECT format('The procedure dbo."%s" returns other columns than %s.', w.name,
              CASE w.outputs WHEN 'N' THEN 'the identifier'
                             ELSE 'identifier, description, time, type name and body' END)
  FROM wanted_functions w JOIN fitting g ON g.name = w.name JOIN functions f ON f.oid = g.oid
 WHERE w.outputs <> '' AND f.outputs <> w.outputs
UNION ALL
SELECT format('The store lacks %s, because it is of an older version or was changed: run "corvaneq database upgrade".',
              string_agg(missing.name, ', ' ORDER BY missing.name))
  FROM (SELECT o.name FROM own_functions o WHERE NOT EXISTS (SELECT 1 FROM functions f WHERE f.proname = o.name)
        UNION ALL
        SELECT o.relation FROM own_rights o WHERE NOT EXISTS (SELECT 1 FROM relations r WHERE r.relname = o.relation)
        UNION ALL
        SELECT o.relation || '.' || o.name FROM own_columns o JOIN relations r ON r.relname = o.relation
         WHERE NOT EXISTS (SELECT 1 FROM pg_attribute a
                            WHERE a.attrelid = r.oid AND a.attname = o.name AND NOT a.attisdropped)) missing,
       is_own HAVING count(*) > 0
UNION ALL
SELECT format('The user %s may not call dbo."%s": GRANT EXECUTE ON FUNCTION %s TO %s.', current_user, f.proname,
              f.oid::regprocedure, current_user)
  FROM functions f
 WHERE NOT has_function_privilege(f.oid, 'EXECUTE')
   AND (f.proname IN (SELECT name FROM wanted_functions)
        OR f.proname IN (SELECT name FROM own_functions WHERE EXISTS (SELECT 1 FROM is_own)))
UNION ALL
SELECT format('The user %s lacks a right on dbo."%s": GRANT %s ON dbo."%s" TO %s.', current_user, w.relation, w.rights,
              w.relation, current_user)
  FROM (SELECT * FROM wanted_rights WHERE NOT EXISTS (SELECT 1 FROM is_own)
        UNION ALL SELECT * FROM wanted_rights WHERE relation <> 'mdqMessageType' AND EXISTS (SELECT 1 FROM is_own)
        UNION ALL SELECT * FROM own_rights WHERE EXISTS (SELECT 1 FROM is_own)) w
  JOIN relations r ON r.relname = w.relation
 WHERE EXISTS (SELECT 1 FROM unnest(string_to_array(w.rights, ', ')) needed
                WHERE NOT has_table_privilege(r.oid, needed))
UNION ALL
SELECT format('The user %s lacks a right on the sequence dbo."mdqNextType": GRANT USAGE ON SEQUENCE dbo."mdqNextType" TO %s.',
              current_user, current_user)
  FROM relations r
 WHERE CASE WHEN r.relname = 'mdqNextType' THEN NOT has_sequence_privilege(r.oid, 'USAGE') ELSE false END
