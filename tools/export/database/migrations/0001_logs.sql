-- The entries of all appliances, and what was found missing. The schema annal itself exists by now.

-- Whoever delivers entries gets the first role, whoever reads them the second. Roles belong to all databases of a
-- server, so another one may have made them.
DO $$
BEGIN
  IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'annal_writer') THEN
    CREATE ROLE annal_writer NOLOGIN;
  END IF;
  IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'annal_reader') THEN
    CREATE ROLE annal_reader NOLOGIN;
  END IF;
END
$$;

-- One row. partition_width: 'day' for a fleet whose month is too large for one table. Existing partitions stay.
CREATE TABLE annal.setting (
  single boolean PRIMARY KEY DEFAULT true CHECK (single),
  partition_width text NOT NULL DEFAULT 'month' CHECK (partition_width IN ('month', 'day'))
);
INSERT INTO annal.setting DEFAULT VALUES;

-- A log's table has the log's own columns under their names. A value that its column cannot hold, such as a text among
-- numbers, is in other_fields, as are columns that only some appliance's log has.
--
-- The date is the one that the row has in its log: it does not change when a row is delivered twice, so both deliveries
-- come to the same partition, where the key tells that they are one.
CREATE TABLE annal.event (
  appliance uuid NOT NULL,
  generation bigint NOT NULL,
  id bigint NOT NULL,
  stored_date date NOT NULL,
  happened timestamptz,
  severity smallint NOT NULL,
  level text NOT NULL,
  event_type bigint,
  event_date text,
  event_time text,
  event_user text,
  event_ip text,
  event_comp text,
  event_desc text,
  event_msgid text,
  event_timet bigint,
  event_app_id text,
  event_app_name text,
  event_category_id text,
  event_category text,
  event_client_id text,
  event_client_app text,
  event_client_agent text,
  other_fields jsonb,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, generation, id, stored_date)
) PARTITION BY RANGE (stored_date);

CREATE TABLE annal.conn (
  appliance uuid NOT NULL,
  generation bigint NOT NULL,
  id bigint NOT NULL,
  stored_date date NOT NULL,
  happened timestamptz,
  severity smallint NOT NULL,
  level text NOT NULL,
  conn_type bigint,
  conn_date text,
  conn_time text,
  conn_user text,
  conn_ip text,
  conn_comp text,
  conn_res text,
  conn_serv bigint,
  conn_action bigint,
  conn_app text,
  conn_action_result bigint,
  conn_client_id text,
  conn_client_app text,
  conn_client_agent text,
  other_fields jsonb,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, generation, id, stored_date)
) PARTITION BY RANGE (stored_date);

CREATE TABLE annal.fileop (
  appliance uuid NOT NULL,
  generation bigint NOT NULL,
  id bigint NOT NULL,
  stored_date date NOT NULL,
  happened timestamptz,
  severity smallint NOT NULL,
  level text NOT NULL,
  event_type bigint,
  event_date text,
  event_time text,
  event_user text,
  event_ip text,
  event_oldfilepath text,
  event_filepath text,
  event_isfolder bigint,
  event_action bigint,
  event_filesize bigint,
  event_comp text,
  event_duid text,
  event_desc text,
  sub_user text,
  pid bigint,
  other_fields jsonb,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, generation, id, stored_date)
) PARTITION BY RANGE (stored_date);

CREATE TABLE annal.notice (
  appliance uuid NOT NULL,
  generation bigint NOT NULL,
  id bigint NOT NULL,
  stored_date date NOT NULL,
  happened timestamptz,
  severity smallint NOT NULL,
  level text NOT NULL,
  notice_severity bigint,
  server bigint,
  action bigint,
  servicename text,
  facility bigint,
  "time" bigint,
  endtime bigint,
  "user" text,
  ip text,
  client text,
  "desc" text,
  msgcode text,
  varnum bigint,
  varcontent text,
  name text,
  status bigint,
  uid bigint,
  gid bigint,
  link_id text,
  link_option text,
  title text,
  other_fields jsonb,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, generation, id, stored_date)
) PARTITION BY RANGE (stored_date);

-- For dates that no partition is made for, because the appliance's clock is wrong by far.
CREATE TABLE annal.event_other_dates PARTITION OF annal.event DEFAULT;
CREATE TABLE annal.conn_other_dates PARTITION OF annal.conn DEFAULT;
CREATE TABLE annal.fileop_other_dates PARTITION OF annal.fileop DEFAULT;
CREATE TABLE annal.notice_other_dates PARTITION OF annal.notice DEFAULT;

-- Rows arrive nearly in the order of their times, so a summary of each block's times takes hardly any room.
CREATE INDEX event_happened ON annal.event USING brin (happened);
CREATE INDEX conn_happened ON annal.conn USING brin (happened);
CREATE INDEX fileop_happened ON annal.fileop USING brin (happened);
CREATE INDEX notice_happened ON annal.notice USING brin (happened);

-- Entries that their appliance had deleted before they were delivered: the ids from first_id on.
CREATE TABLE annal.gap (
  appliance uuid NOT NULL,
  log text NOT NULL CHECK (log IN ('event', 'conn', 'fileop', 'notice')),
  generation bigint NOT NULL,
  first_id bigint NOT NULL,
  entries bigint NOT NULL CHECK (entries > 0),
  found timestamptz,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, log, generation, first_id, entries)
);

-- Entries whose content was blanked out later on.
CREATE TABLE annal.redaction (
  appliance uuid NOT NULL,
  log text NOT NULL CHECK (log IN ('event', 'conn', 'fileop', 'notice')),
  generation bigint NOT NULL,
  id bigint NOT NULL,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, log, generation, id)
);

-- How far each log was sealed, signed, as "annalctl verify --anchor" takes it. The first that came stays. Whoever sends
-- one that is signed by somebody else adds a row and replaces none.
CREATE TABLE annal.head (
  appliance uuid NOT NULL,
  log text NOT NULL CHECK (log IN ('event', 'conn', 'fileop', 'notice')),
  generation bigint NOT NULL,
  sealed timestamptz,
  head jsonb NOT NULL,
  received timestamptz NOT NULL DEFAULT now(),
  PRIMARY KEY (appliance, log, head)
);

-- All logs as one.
CREATE VIEW annal.entry AS
SELECT appliance, 'event'::text AS log, generation, id, stored_date, happened, severity, level, event_user AS "user",
       event_ip AS ip, event_comp AS computer, event_app_name AS application, event_desc AS message, received
FROM annal.event
UNION ALL
SELECT appliance, 'conn', generation, id, stored_date, happened, severity, level, conn_user,
       conn_ip, conn_comp, conn_app, conn_res, received
FROM annal.conn
UNION ALL
SELECT appliance, 'fileop', generation, id, stored_date, happened, severity, level, event_user,
       event_ip, event_comp, NULL, event_filepath, received
FROM annal.fileop
UNION ALL
SELECT appliance, 'notice', generation, id, stored_date, happened, severity, level, "user",
       ip, client, servicename, "desc", received
FROM annal.notice;
