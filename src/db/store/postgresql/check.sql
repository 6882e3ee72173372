-- A sentence for everything that is missing or different, and for every right that the user of the connection lacks.
WITH wanted_columns(relation, columns) AS (VALUES
  ('mdqMessageType', ARRAY['MessageTypeID', 'Name', 'Queue']),
  ('mdqMessage', ARRAY['MessageID', 'Description', 'CreateTimestamp', 'Body', 'MessageTypeID', 'AckReceive']),
  ('mdqMessageAck', ARRAY['MessageID', 'Description', 'CreateTimestamp', 'Body', 'MessageTypeID'])),
wanted_functions(name, inputs) AS (VALUES
  ('mdqCreateMessageType', 2), ('mdqCreateMessage', 5), ('mdqGetMessagesTrans', 3), ('mdqAckReceive', 2),
  ('mdqDeleteActiveQueueMessagesOlderThan', 2), ('mdqDeleteAckQueueMessagesOlderThan', 2)),
wanted_rights(relation, rights) AS (VALUES
  ('mdqMessageType', 'SELECT, INSERT, UPDATE'), ('mdqMessage', 'SELECT'), ('mdqMessageAck', 'SELECT'),
  ('mdqDocument', 'SELECT, INSERT, DELETE'), ('mdqWaiting', 'SELECT, INSERT, UPDATE, DELETE'),
  ('mdqAcknowledged', 'SELECT, INSERT, DELETE')),
relations AS (
  SELECT c.oid, c.relname FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace WHERE n.nspname = 'dbo'),
functions AS (
  SELECT p.oid, p.proname, p.pronargs FROM pg_proc p JOIN pg_namespace n ON n.oid = p.pronamespace
   WHERE n.nspname = 'dbo')
SELECT format('The schema dbo is missing: run "corvaneq database install".')
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
SELECT format('The procedure dbo."%s" takes %s values, and %s are given.', w.name, f.pronargs, w.inputs)
  FROM wanted_functions w JOIN functions f ON f.proname = w.name
 WHERE NOT EXISTS (SELECT 1 FROM functions g WHERE g.proname = w.name AND g.pronargs = w.inputs)
UNION ALL
SELECT format('The user %s may not call dbo."%s": GRANT EXECUTE ON FUNCTION dbo."%s" TO %s.', current_user, w.name,
              w.name, current_user)
  FROM wanted_functions w JOIN functions f ON f.proname = w.name WHERE NOT has_function_privilege(f.oid, 'EXECUTE')
UNION ALL
SELECT format('The user %s lacks a right on dbo."%s": GRANT %s ON dbo."%s" TO %s.', current_user, w.relation, w.rights,
              w.relation, current_user)
  FROM wanted_rights w JOIN relations r ON r.relname = w.relation
 WHERE EXISTS (SELECT 1 FROM unnest(string_to_array(w.rights, ', ')) needed
                WHERE NOT has_table_privilege(r.oid, needed))
UNION ALL
SELECT format('The user %s lacks a right on the sequence dbo."mdqNextType": GRANT USAGE ON SEQUENCE dbo."mdqNextType" TO %s.',
              current_user, current_user)
  FROM relations r
 WHERE CASE WHEN r.relname = 'mdqNextType' THEN NOT has_sequence_privilege(r.oid, 'USAGE') ELSE false END
