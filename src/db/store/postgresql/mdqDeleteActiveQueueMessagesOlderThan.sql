-- Deletes the waiting documents of a queue; those that a receiver holds stay.
CREATE OR REPLACE FUNCTION dbo."mdqDeleteActiveQueueMessagesOlderThan"(p_queue text, p_seconds integer) RETURNS void
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  WITH gone AS (
    DELETE FROM dbo."mdqWaiting" l WHERE l."MessageTypeID" = v_type AND l."MessageID" IN (
      SELECT w."MessageID" FROM dbo."mdqWaiting" w JOIN dbo."mdqDocument" d ON d."MessageID" = w."MessageID"
       WHERE w."MessageTypeID" = v_type
         AND (p_seconds <= 0
              OR d."CreateTimestamp" <= (now() AT TIME ZONE 'UTC') - p_seconds * interval '1 second')
      FOR UPDATE OF w SKIP LOCKED)
    RETURNING l."MessageID")
  DELETE FROM dbo."mdqDocument" d USING gone WHERE d."MessageID" = gone."MessageID";
END
$$;
