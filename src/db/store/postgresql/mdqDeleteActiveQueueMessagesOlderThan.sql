-- Deletes the waiting documents of a queue; those that a receiver holds stay. In batches: each is forgotten before the
-- next one is looked for, behind it.
CREATE OR REPLACE FUNCTION dbo."mdqDeleteActiveQueueMessagesOlderThan"(p_queue text, p_seconds integer) RETURNS void
LANGUAGE plpgsql AS $$
DECLARE
  v_type  smallint;
  v_until timestamp := (now() AT TIME ZONE 'UTC') - p_seconds * interval '1 second';
  v_last  bigint := 0;
  v_batch bigint[];
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  LOOP
    SELECT array_agg(b."MessageID") INTO v_batch FROM (
      SELECT w."MessageID" FROM dbo."mdqWaiting" w
       WHERE w."MessageTypeID" = v_type AND w."MessageID" > v_last
         AND (p_seconds <= 0 OR EXISTS (SELECT 1 FROM dbo."mdqDocument" d
                                         WHERE d."MessageID" = w."MessageID" AND d."CreateTimestamp" <= v_until OFFSET 0))
       ORDER BY w."MessageID" LIMIT 5000 FOR UPDATE OF w SKIP LOCKED) b;
    EXIT WHEN v_batch IS NULL;
    SELECT max(m) INTO v_last FROM unnest(v_batch) m;
    DELETE FROM dbo."mdqWaiting" w WHERE w."MessageTypeID" = v_type AND w."MessageID" = ANY (v_batch);
    DELETE FROM dbo."mdqDocument" d WHERE d."MessageID" = ANY (v_batch);
    DELETE FROM dbo."mdqFailure" f WHERE f."MessageID" = ANY (v_batch);
  END LOOP;
END
$$;
