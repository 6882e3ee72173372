-- Queues and documents. A document is stored once; two lists of identifiers tell which documents wait and which
-- are acknowledged, and two views show them as the tables that clients name. The names of queues are compared
-- without regard to letter case.
CREATE EXTENSION IF NOT EXISTS citext;
CREATE SCHEMA IF NOT EXISTS dbo;

CREATE TABLE dbo."mdqVersion" ("Version" integer NOT NULL);
INSERT INTO dbo."mdqVersion" VALUES (1);

CREATE TABLE dbo."mdqMessageType" (
  "MessageTypeID" smallint PRIMARY KEY CHECK ("MessageTypeID" > 0),
  "Name"          varchar(64) NOT NULL,
  "Queue"         citext NOT NULL CHECK (length("Queue") BETWEEN 1 AND 250),
  UNIQUE ("Name", "Queue")
);
CREATE SEQUENCE dbo."mdqNextType" AS smallint OWNED BY dbo."mdqMessageType"."MessageTypeID";

CREATE TABLE dbo."mdqDocument" (
  "MessageID"       bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  "MessageTypeID"   smallint NOT NULL REFERENCES dbo."mdqMessageType",
  "CreateTimestamp" timestamp(0) NOT NULL,
  "Description"     varchar(250) NOT NULL,
  "Body"            text NOT NULL
);
-- Rows come and go all the time: they are cleared away early.
CREATE TABLE dbo."mdqWaiting" (
  "MessageTypeID" smallint NOT NULL,
  "MessageID"     bigint NOT NULL,
  PRIMARY KEY ("MessageTypeID", "MessageID")
) WITH (autovacuum_vacuum_scale_factor = 0.01, autovacuum_vacuum_threshold = 1000);
CREATE TABLE dbo."mdqAcknowledged" (
  "MessageTypeID" smallint NOT NULL,
  "MessageID"     bigint NOT NULL,
  PRIMARY KEY ("MessageTypeID", "MessageID")
);

CREATE VIEW dbo."mdqMessage" AS
  SELECT w."MessageID", d."Description", d."CreateTimestamp", d."Body", w."MessageTypeID", 0 AS "AckReceive"
    FROM dbo."mdqWaiting" w LEFT JOIN dbo."mdqDocument" d ON d."MessageID" = w."MessageID";
CREATE VIEW dbo."mdqMessageAck" AS
  SELECT a."MessageID", d."Description", d."CreateTimestamp", d."Body", a."MessageTypeID"
    FROM dbo."mdqAcknowledged" a LEFT JOIN dbo."mdqDocument" d ON d."MessageID" = a."MessageID";
