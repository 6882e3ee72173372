-- Acknowledges a document: it no longer waits, and is kept. Once more is no error. One that a purge was faster to
-- take is not there.
CREATE OR REPLACE FUNCTION dbo."mdqAckReceive"(p_message bigint, p_flag smallint) RETURNS void
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  IF p_flag <> 2 THEN
    RAISE EXCEPTION 'mdqAckReceive knows only @Flag 2: the acknowledged document is kept.';
  END IF;
  SELECT d."MessageTypeID" INTO v_type FROM dbo."mdqDocument" d WHERE d."MessageID" = p_message;
  IF FOUND THEN
    DELETE FROM dbo."mdqWaiting" w WHERE w."MessageTypeID" = v_type AND w."MessageID" = p_message;
    IF FOUND THEN
      INSERT INTO dbo."mdqAcknowledged" VALUES (v_type, p_message);
      RETURN;
    END IF;
    PERFORM 1 FROM dbo."mdqAcknowledged" a WHERE a."MessageTypeID" = v_type AND a."MessageID" = p_message;
    IF FOUND THEN
      RETURN;
    END IF;
  END IF;
  RAISE EXCEPTION 'There is no document with the identifier %: it was never stored, or it has been purged.',
    p_message;
END
$$;
