-- What those who operate the store see and do. Lists are "mdqWaiting" and "mdqAcknowledged", the journal.

CREATE OR REPLACE FUNCTION dbo."mdqTypeOf"(p_queue text) RETURNS smallint
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    RAISE EXCEPTION 'There is no queue "%".', p_queue;
  END IF;
  RETURN v_type;
END
$$;

-- Times are seconds since 1970, -1 for none.
CREATE OR REPLACE FUNCTION dbo."mdqSeconds"(p_time timestamp) RETURNS bigint
LANGUAGE sql IMMUTABLE AS $$ SELECT coalesce(extract(epoch FROM p_time)::bigint, -1) $$;

-- A row that somebody's open transaction has locked or taken is held: its mark names that transaction.
CREATE OR REPLACE FUNCTION dbo."mdqQueueContent"(p_queue text)
RETURNS TABLE ("Waiting" bigint, "WaitingBytes" bigint, "Held" bigint, "Acknowledged" bigint,
               "AcknowledgedBytes" bigint, "OldestWaiting" bigint, "LastSent" bigint, "LastAcknowledged" bigint)
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint := dbo."mdqTypeOf"(p_queue);
BEGIN
  RETURN QUERY SELECT w.count, w.bytes, w.held, a.count, a.bytes, dbo."mdqSeconds"(w.first),
                      dbo."mdqSeconds"(greatest(w.last, a.last)), dbo."mdqSeconds"(a.taken)
    FROM (SELECT count(*) AS count, coalesce(sum(octet_length(d."Body")), 0) AS bytes,
                 count(l.transactionid) AS held, min(d."CreateTimestamp") AS first, max(d."CreateTimestamp") AS last
            FROM dbo."mdqWaiting" q JOIN dbo."mdqDocument" d ON d."MessageID" = q."MessageID"
            LEFT JOIN pg_locks l
              ON l.transactionid = q.xmax AND l.locktype = 'transactionid' AND l.mode = 'ExclusiveLock'
           WHERE q."MessageTypeID" = v_type) w
   CROSS JOIN (SELECT count(*) AS count, coalesce(sum(octet_length(d."Body")), 0) AS bytes,
                      max(q."AckTimestamp") AS taken, max(d."CreateTimestamp") AS last
                 FROM dbo."mdqAcknowledged" q JOIN dbo."mdqDocument" d ON d."MessageID" = q."MessageID"
                WHERE q."MessageTypeID" = v_type) a;
END
$$;

-- Documents of a list behind an identifier, or before it, at most so many.
CREATE OR REPLACE FUNCTION dbo."mdqReadMessages"(p_queue text, p_is_journal smallint, p_from bigint,
                                                 p_is_backward smallint, p_count integer, p_with_bodies smallint)
RETURNS TABLE ("MessageID" bigint, "Description" varchar, "Sent" bigint, "Acknowledged" bigint, "Length" bigint,
               "Body" text)
LANGUAGE plpgsql AS $$
BEGIN
  RETURN QUERY EXECUTE format(
    'SELECT l."MessageID", d."Description", dbo."mdqSeconds"(d."CreateTimestamp"), dbo."mdqSeconds"(l."At"),
            octet_length(d."Body")::bigint, CASE WHEN $4 <> 0 THEN d."Body" ELSE '''' END
       FROM (SELECT w."MessageID", %1$s AS "At" FROM dbo.%2$I w
              WHERE w."MessageTypeID" = $1 AND w."MessageID" %3$s $2 ORDER BY w."MessageID" %4$s LIMIT $3) l
      CROSS JOIN LATERAL (SELECT * FROM dbo."mdqDocument" k WHERE k."MessageID" = l."MessageID" OFFSET 0) d
      ORDER BY l."MessageID" %4$s',
    CASE WHEN p_is_journal <> 0 THEN 'w."AckTimestamp"' ELSE 'NULL::timestamp' END,
    CASE WHEN p_is_journal <> 0 THEN 'mdqAcknowledged' ELSE 'mdqWaiting' END,
    CASE WHEN p_is_backward <> 0 THEN '<' ELSE '>' END, CASE WHEN p_is_backward <> 0 THEN 'DESC' ELSE 'ASC' END)
    USING dbo."mdqTypeOf"(p_queue), p_from, p_count, p_with_bodies;
END
$$;

-- What becomes of documents, by their identifiers with a blank between them: 0 deleted, 1 acknowledged, 2 moved to
-- the waiting ones of a queue, 3 copied there. Those that somebody holds stay.
CREATE OR REPLACE FUNCTION dbo."mdqChangeMessages"(p_queue text, p_is_journal smallint, p_messages text,
                                                   p_fate smallint, p_to text, OUT "Done" bigint, OUT "Held" bigint)
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint := dbo."mdqTypeOf"(p_queue);
  v_to   smallint := CASE WHEN p_fate >= 2 THEN dbo."mdqTypeOf"(p_to) END;
  v_list text := CASE WHEN p_is_journal <> 0 THEN 'mdqAcknowledged' ELSE 'mdqWaiting' END;
  v_all  bigint[] := string_to_array(p_messages, ' ')::bigint[];
  v_ours bigint[];
BEGIN
  EXECUTE format('SELECT array_agg(t."MessageID" ORDER BY t."MessageID") FROM (SELECT w."MessageID" FROM dbo.%I w
                   WHERE w."MessageTypeID" = $1 AND w."MessageID" = ANY ($2)%s) t',
                 v_list, CASE WHEN p_fate = 3 THEN '' ELSE ' FOR UPDATE SKIP LOCKED' END)
    INTO v_ours USING v_type, v_all;
  "Done" := coalesce(cardinality(v_ours), 0);
  EXECUTE format('SELECT count(*) FROM dbo.%I w WHERE w."MessageTypeID" = $1 AND w."MessageID" = ANY ($2)', v_list)
    INTO "Held" USING v_type, v_all;
  "Held" := greatest("Held" - "Done", 0);
  IF p_fate = 3 THEN
    WITH copies AS (
      INSERT INTO dbo."mdqDocument" ("MessageTypeID", "CreateTimestamp", "Description", "Body")
        SELECT v_to, d."CreateTimestamp", d."Description", d."Body" FROM dbo."mdqDocument" d
         WHERE d."MessageID" = ANY (v_ours) ORDER BY d."MessageID"
        RETURNING "MessageID")
    INSERT INTO dbo."mdqWaiting" SELECT v_to, c."MessageID" FROM copies c;
    RETURN;
  END IF;
  EXECUTE format('DELETE FROM dbo.%I w WHERE w."MessageTypeID" = $1 AND w."MessageID" = ANY ($2)', v_list)
    USING v_type, v_ours;
  IF p_fate = 0 THEN
    DELETE FROM dbo."mdqDocument" d WHERE d."MessageID" = ANY (v_ours);
    DELETE FROM dbo."mdqFailure" f WHERE f."MessageID" = ANY (v_ours);
  ELSIF p_fate = 1 THEN
    INSERT INTO dbo."mdqAcknowledged" SELECT v_type, m FROM unnest(v_ours) m;
    DELETE FROM dbo."mdqFailure" f WHERE f."MessageID" = ANY (v_ours);
  ELSE
    UPDATE dbo."mdqDocument" d SET "MessageTypeID" = v_to WHERE d."MessageID" = ANY (v_ours) AND d."MessageTypeID" <> v_to;
    INSERT INTO dbo."mdqWaiting" SELECT v_to, m FROM unnest(v_ours) m;
  END IF;
END
$$;

-- A queue that holds documents stays.
CREATE OR REPLACE FUNCTION dbo."mdqRemoveQueue"(p_queue text) RETURNS void
LANGUAGE plpgsql AS $$
DECLARE
  v_end text := ' > ' || p_queue;
BEGIN
  DELETE FROM dbo."mdqMessageType" t WHERE t."MessageTypeID" = dbo."mdqTypeOf"(p_queue);
  DELETE FROM dbo."mdqRun" r WHERE right(r."Run", length(v_end))::citext = v_end::citext;
EXCEPTION WHEN foreign_key_violation THEN
  RAISE EXCEPTION 'Documents have come into the queue "%" meanwhile; it stays. End its senders first.', p_queue;
END
$$;

-- How far a run has come, -1 to forget it.
CREATE OR REPLACE FUNCTION dbo."mdqNoteRun"(p_run text, p_position bigint) RETURNS void
LANGUAGE plpgsql AS $$
BEGIN
  IF p_position = -1 THEN
    DELETE FROM dbo."mdqRun" r WHERE r."Run" = p_run;
  ELSE
    INSERT INTO dbo."mdqRun" VALUES (p_run, p_position)
      ON CONFLICT ("Run") DO UPDATE SET "Position" = excluded."Position";
  END IF;
END
$$;
-- Runs of which the names begin and end so; letter case of a queue's name at the end does not count.
CREATE OR REPLACE FUNCTION dbo."mdqNotedRuns"(p_work text, p_end text)
RETURNS TABLE ("Run" text, "Position" bigint)
LANGUAGE sql STABLE AS $$
  SELECT r."Run", r."Position" FROM dbo."mdqRun" r
   WHERE left(r."Run", length(p_work)) = p_work AND right(r."Run", length(p_end))::citext = p_end::citext
   ORDER BY r."Position";
$$;

-- What dies with the server is an attempt, not a document.
CREATE OR REPLACE FUNCTION dbo."mdqBeginAttempt"(p_message bigint, OUT "Attempts" integer)
LANGUAGE plpgsql AS $$
BEGIN
  PERFORM set_config('synchronous_commit', 'off', true);
  INSERT INTO dbo."mdqFailure" VALUES (p_message, 1, '')
    ON CONFLICT ("MessageID") DO UPDATE SET "Attempts" = dbo."mdqFailure"."Attempts" + 1
    RETURNING dbo."mdqFailure"."Attempts" INTO "Attempts";
END
$$;
CREATE OR REPLACE FUNCTION dbo."mdqEndAttempts"(p_message bigint) RETURNS void
LANGUAGE plpgsql AS $$
BEGIN
  PERFORM set_config('synchronous_commit', 'off', true);
  DELETE FROM dbo."mdqFailure" f WHERE f."MessageID" = p_message;
END
$$;
CREATE OR REPLACE FUNCTION dbo."mdqNoteFailure"(p_message bigint, p_reason text, p_attempts integer) RETURNS void
LANGUAGE sql AS $$
  UPDATE dbo."mdqFailure" f SET "Reason" = p_reason, "Attempts" = p_attempts WHERE f."MessageID" = p_message;
$$;
CREATE OR REPLACE FUNCTION dbo."mdqFailureReason"(p_message bigint, OUT "Reason" text)
LANGUAGE sql STABLE AS $$
  SELECT coalesce((SELECT f."Reason" FROM dbo."mdqFailure" f WHERE f."MessageID" = p_message), '');
$$;
