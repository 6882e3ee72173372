-- The waiting documents of a queue, oldest identifier first. A single one is held until the end of the caller's
-- transaction: other receivers pass it over. All of them are read without waiting for anybody.
CREATE OR REPLACE FUNCTION dbo."mdqGetMessagesTrans"(p_queue text, p_most integer, p_from timestamp)
RETURNS TABLE ("MessageID" bigint, "Description" varchar, "CreateTimestamp" timestamp, "Name" varchar, "Body" text)
LANGUAGE plpgsql ROWS 1000 AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    RETURN;
  END IF;
  IF p_most = 1 THEN
    RETURN QUERY
      SELECT d."MessageID", d."Description", d."CreateTimestamp"::timestamp, 'idoc'::varchar, d."Body"
        FROM dbo."mdqWaiting" w JOIN dbo."mdqDocument" d ON d."MessageID" = w."MessageID"
       WHERE w."MessageTypeID" = v_type AND d."CreateTimestamp" >= p_from
       ORDER BY w."MessageID" LIMIT 1 FOR UPDATE OF w SKIP LOCKED;
  ELSE
    RETURN QUERY
      SELECT d."MessageID", d."Description", d."CreateTimestamp"::timestamp, 'idoc'::varchar, d."Body"
        FROM dbo."mdqWaiting" w JOIN dbo."mdqDocument" d ON d."MessageID" = w."MessageID"
       WHERE w."MessageTypeID" = v_type AND d."CreateTimestamp" >= p_from
       ORDER BY w."MessageID" LIMIT nullif(p_most, 0);
  END IF;
END
$$;
