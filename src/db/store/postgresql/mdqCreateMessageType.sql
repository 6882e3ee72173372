-- Creates a queue; one that is there already keeps its key. Two who create one at a time wait for each other.
CREATE OR REPLACE FUNCTION dbo."mdqCreateMessageType"(p_name text, p_queue text, OUT "MessageTypeID" smallint)
LANGUAGE plpgsql AS $$
BEGIN
  IF p_queue = '' THEN
    RAISE EXCEPTION 'A queue needs a name; nothing was stored.';
  END IF;
  SELECT t."MessageTypeID" INTO "MessageTypeID" FROM dbo."mdqMessageType" t
    WHERE t."Name" = p_name AND t."Queue" = p_queue::citext;
  IF FOUND THEN
    RETURN;
  END IF;
  LOCK TABLE dbo."mdqMessageType" IN SHARE ROW EXCLUSIVE MODE;
  SELECT t."MessageTypeID" INTO "MessageTypeID" FROM dbo."mdqMessageType" t
    WHERE t."Name" = p_name AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    INSERT INTO dbo."mdqMessageType" VALUES (nextval('dbo."mdqNextType"'), p_name, p_queue)
      RETURNING dbo."mdqMessageType"."MessageTypeID" INTO "MessageTypeID";
  END IF;
END
$$;
