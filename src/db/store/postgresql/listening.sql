-- Workers that have nothing to do are told of what is stored in their queue. Telling makes commits wait for each other,
-- so that nobody is told but who says that it has nothing to do.

-- From now on the calling session is told of that queue; false for one that is not there. What was stored before is
-- for the caller to look for.
CREATE OR REPLACE FUNCTION dbo."mdqListen"(p_queue text) RETURNS boolean
LANGUAGE plpgsql AS $$
DECLARE
  v_type smallint;
BEGIN
  SELECT t."MessageTypeID" INTO v_type FROM dbo."mdqMessageType" t
    WHERE t."Name" = 'idoc' AND t."Queue" = p_queue::citext;
  IF NOT FOUND THEN
    RETURN false;
  END IF;
  PERFORM set_config('synchronous_commit', 'off', true);
  -- Of sessions that have died.
  DELETE FROM dbo."mdqIdle" i
   WHERE i."MessageTypeID" = v_type AND i."Backend" NOT IN (SELECT a.pid FROM pg_stat_activity a);
  EXECUTE format('LISTEN %I', 'corvane_' || v_type);
  INSERT INTO dbo."mdqIdle" VALUES (v_type, pg_backend_pid()) ON CONFLICT DO NOTHING;
  RETURN true;
END
$$;

-- The calling session has something to do, and needs to be told of nothing.
CREATE OR REPLACE FUNCTION dbo."mdqWork"() RETURNS void
LANGUAGE plpgsql AS $$
BEGIN
  PERFORM set_config('synchronous_commit', 'off', true);
  DELETE FROM dbo."mdqIdle" i WHERE i."Backend" = pg_backend_pid();
END
$$;

CREATE OR REPLACE FUNCTION dbo."mdqTell"() RETURNS trigger
LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM dbo."mdqIdle" i WHERE i."MessageTypeID" = NEW."MessageTypeID") THEN
    PERFORM pg_notify('corvane_' || NEW."MessageTypeID", '');
  END IF;
  RETURN NULL;
END
$$;
-- At the commit: a worker may have run out of work since the document was stored.
DROP TRIGGER IF EXISTS "mdqTell" ON dbo."mdqWaiting";
CREATE CONSTRAINT TRIGGER "mdqTell" AFTER INSERT ON dbo."mdqWaiting"
  DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION dbo."mdqTell"();
