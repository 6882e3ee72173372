-- Stores a document, and creates its queue if need be.
CREATE OR REPLACE FUNCTION dbo."mdqCreateMessage"(p_type text, p_queue text, p_description text,
                                                  p_created timestamp, p_body text, OUT "MessageID" bigint)
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = p_type AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    v_type := dbo."mdqCreateMessageType"(p_type, p_queue);
  END IF;
  INSERT INTO dbo."mdqDocument" ("MessageTypeID", "CreateTimestamp", "Description", "Body")
    VALUES (v_type, p_created, p_description, p_body)
    RETURNING dbo."mdqDocument"."MessageID" INTO "MessageID";
  INSERT INTO dbo."mdqWaiting" VALUES (v_type, "MessageID");
END
$$;
