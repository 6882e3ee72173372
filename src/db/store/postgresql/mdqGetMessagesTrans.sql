-- The waiting documents of a queue, oldest identifier first. A single one is held until the end of the caller's
-- transaction: other receivers pass it over. All of them are read without waiting for anybody. Documents are
-- looked up one by one (OFFSET 0): a join would read those that are acknowledged too.
--
-- Documents that were taken stand in the index until vacuum clears them. So that receivers do not walk over them
-- again and again, a session remembers for a second where its last document was, and looks from there; when nothing is
-- there, from the beginning. What was put back, or stored by a slow transaction, is found within that second.
CREATE OR REPLACE FUNCTION dbo."mdqGetMessagesTrans"(p_queue text, p_most integer, p_from timestamp)
RETURNS TABLE ("MessageID" bigint, "Description" varchar, "CreateTimestamp" timestamp, "Name" varchar, "Body" text)
LANGUAGE plpgsql ROWS 1000 AS $$
DECLARE
  v_type  smallint;
  v_front text[];
  v_now   double precision := extract(epoch FROM clock_timestamp());
  v_first bigint := 0;
  v_found bigint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    RETURN;
  END IF;
  IF p_most = 0 THEN
    RETURN QUERY
      SELECT d."MessageID", d."Description", d."CreateTimestamp"::timestamp, 'idoc'::varchar, d."Body"
        FROM dbo."mdqWaiting" w JOIN dbo."mdqDocument" d ON d."MessageID" = w."MessageID"
       WHERE w."MessageTypeID" = v_type AND d."CreateTimestamp" >= p_from
       ORDER BY w."MessageID";
    RETURN;
  END IF;
  IF p_most <> 1 THEN
    RETURN QUERY
      SELECT d."MessageID", d."Description", d."CreateTimestamp"::timestamp, 'idoc'::varchar, d."Body"
        FROM dbo."mdqWaiting" w
       CROSS JOIN LATERAL (SELECT * FROM dbo."mdqDocument" k
                            WHERE k."MessageID" = w."MessageID" AND k."CreateTimestamp" >= p_from OFFSET 0) d
       WHERE w."MessageTypeID" = v_type
       ORDER BY w."MessageID" LIMIT p_most;
    RETURN;
  END IF;
  v_front := string_to_array(current_setting('corvane.front', true), ' ');  -- queue, identifier, since when
  IF v_front[1] = v_type::text AND v_now - v_front[3]::double precision BETWEEN 0 AND 1 THEN
    v_first := v_front[2];
  ELSE
    v_front[3] := v_now;
  END IF;
  LOOP
    SELECT w."MessageID" INTO v_found FROM dbo."mdqWaiting" w
     WHERE w."MessageTypeID" = v_type AND w."MessageID" >= v_first
       AND EXISTS (SELECT 1 FROM dbo."mdqDocument" k
                    WHERE k."MessageID" = w."MessageID" AND k."CreateTimestamp" >= p_from OFFSET 0)
     ORDER BY w."MessageID" LIMIT 1 FOR UPDATE OF w SKIP LOCKED;
    EXIT WHEN FOUND OR v_first = 0;
    v_first := 0;
    v_front[3] := v_now;
  END LOOP;
  IF v_found IS NULL THEN
    RETURN;
  END IF;
  PERFORM set_config('corvane.front', concat_ws(' ', v_type, v_found, v_front[3]), false);
  RETURN QUERY
    SELECT d."MessageID", d."Description", d."CreateTimestamp"::timestamp, 'idoc'::varchar, d."Body"
      FROM dbo."mdqDocument" d WHERE d."MessageID" = v_found;
END
$$;
