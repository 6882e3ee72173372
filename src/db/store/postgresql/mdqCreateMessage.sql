-- Stores a document, and creates its queue if need be. A sender gives a key of its own: should it not know whether
-- the document is stored, it calls again with the same one, and gets the identifier of the first call when that has
-- come to its end, also while its commit is under way.
CREATE OR REPLACE FUNCTION dbo."mdqCreateMessageOnce"(p_type text, p_queue text, p_description text,
                                                      p_created timestamp, p_body text, p_key text,
                                                      OUT "MessageID" bigint)
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = p_type AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    v_type := dbo."mdqCreateMessageType"(p_type, p_queue);
  END IF;
  INSERT INTO dbo."mdqDocument" ("MessageTypeID", "CreateTimestamp", "Description", "Body", "SenderKey")
    VALUES (v_type, p_created, p_description, p_body, p_key::uuid)
    ON CONFLICT ("SenderKey") WHERE "SenderKey" IS NOT NULL DO NOTHING
    RETURNING dbo."mdqDocument"."MessageID" INTO "MessageID";
  IF "MessageID" IS NULL THEN
    SELECT d."MessageID" INTO STRICT "MessageID" FROM dbo."mdqDocument" d WHERE d."SenderKey" = p_key::uuid;
    RETURN;
  END IF;
  INSERT INTO dbo."mdqWaiting" VALUES (v_type, "MessageID");
END
$$;

CREATE OR REPLACE FUNCTION dbo."mdqCreateMessage"(p_type text, p_queue text, p_description text,
                                                  p_created timestamp, p_body text, OUT "MessageID" bigint)
LANGUAGE plpgsql AS $$
BEGIN
  "MessageID" := dbo."mdqCreateMessageOnce"(p_type, p_queue, p_description, p_created, p_body, NULL);
END
$$;
