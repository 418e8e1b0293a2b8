-- Making partitions as entries arrive, dropping them when their time is over, and replacing an entry.

-- Makes the partitions of these dates that are missing. It runs with its owner's rights, so that a writer needs none on
-- the tables' definitions. An appliance whose clock is wrong by far must not make thousands of partitions: its entries
-- stay in the one for other dates until it is their time.
CREATE FUNCTION annal.make_partitions(log text, dates date[]) RETURNS integer
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  width text;
  day date;
  first date;
  next date;
  part text;
  made integer := 0;
BEGIN
  IF log NOT IN ('event', 'conn', 'fileop', 'notice') THEN
    RAISE EXCEPTION 'there is no log %', log USING ERRCODE = 'invalid_parameter_value';
  END IF;
  SELECT partition_width INTO STRICT width FROM annal.setting;
  FOR day IN SELECT DISTINCT d FROM unnest(dates) AS d
             WHERE d BETWEEN current_date - 400 AND current_date + 2 ORDER BY d
  LOOP
    CONTINUE WHEN to_regclass(format('annal.%I', log || to_char(day, '_YYYYMM'))) IS NOT NULL
               OR to_regclass(format('annal.%I', log || to_char(day, '_YYYYMMDD'))) IS NOT NULL;
    -- One at a time for each log.
    PERFORM pg_advisory_xact_lock(hashtext('annal.make_partitions'), hashtext(log));
    first := date_trunc(width, day::timestamp);
    next := first + ('1 ' || width)::interval;
    IF width = 'month' AND EXISTS (
         SELECT FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace
         WHERE n.nspname = 'annal' AND c.relname LIKE log || '\_' || to_char(first, 'YYYYMM') || '\_\_') THEN
      -- The month began when the width was a day.
      first := day;
      next := day + 1;
    END IF;
    part := log || to_char(first, CASE WHEN next = first + 1 THEN '_YYYYMMDD' ELSE '_YYYYMM' END);
    CONTINUE WHEN to_regclass(format('annal.%I', part)) IS NOT NULL;
    -- Entries from before their time are there already.
    EXECUTE format('LOCK TABLE annal.%I IN ACCESS EXCLUSIVE MODE', log || '_other_dates');
    EXECUTE format('CREATE TABLE annal.%I (LIKE annal.%I INCLUDING ALL)', part, log);
    EXECUTE format('WITH moved AS (DELETE FROM annal.%I WHERE stored_date >= %L AND stored_date < %L RETURNING *) '
                   'INSERT INTO annal.%I SELECT * FROM moved', log || '_other_dates', first, next, part);
    EXECUTE format('ALTER TABLE annal.%I ATTACH PARTITION annal.%I FOR VALUES FROM (%L) TO (%L)',
                   log, part, first, next);
    made := made + 1;
  END LOOP;
  RETURN made;
END
$$;

-- Drops what is older than a day: partitions that end before it, and those entries of other dates that arrived before
-- it; and the heads of before it, but for the newest of each chain. Gives up after a few seconds of waiting for readers,
-- so that writers do not queue behind it.
CREATE FUNCTION annal.drop_before(day date) RETURNS TABLE (dropped text)
LANGUAGE plpgsql SET search_path = pg_catalog, pg_temp SET lock_timeout = '5s' AS $$
DECLARE
  part record;
BEGIN
  FOR part IN
    SELECT c.relname AS name, pg_get_expr(c.relpartbound, c.oid) AS bound
    FROM pg_class c
    JOIN pg_inherits i ON i.inhrelid = c.oid
    WHERE i.inhparent IN ('annal.event'::regclass, 'annal.conn'::regclass, 'annal.fileop'::regclass,
                          'annal.notice'::regclass)
    ORDER BY 1
  LOOP
    IF part.bound = 'DEFAULT' THEN
      EXECUTE format('DELETE FROM annal.%I WHERE received < %L', part.name, day);
    ELSIF substring(part.bound FROM 'TO \(''([0-9-]+)''\)')::date <= day THEN
      EXECUTE format('DROP TABLE annal.%I', part.name);
      dropped := part.name;
      RETURN NEXT;
    END IF;
  END LOOP;
  DELETE FROM annal.head AS one
  WHERE one.received < day AND EXISTS (
    SELECT FROM annal.head AS later
    WHERE later.appliance = one.appliance AND later.log = one.log AND later.head->'chain' = one.head->'chain'
      AND later.received > one.received);
END
$$;

-- Removes entries that are about to be stored again without their content. A writer may not delete, so this is all that
-- it can do to an entry, and each time leaves a row behind.
CREATE FUNCTION annal.redact(log text, appliances uuid[], generations bigint[], ids bigint[]) RETURNS void
LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp AS $$
BEGIN
  IF log NOT IN ('event', 'conn', 'fileop', 'notice') THEN
    RAISE EXCEPTION 'there is no log %', log USING ERRCODE = 'invalid_parameter_value';
  END IF;
  EXECUTE format('DELETE FROM annal.%I AS t USING unnest($1, $2, $3) AS k(appliance, generation, id) '
                 'WHERE t.appliance = k.appliance AND t.generation = k.generation AND t.id = k.id', log)
    USING appliances, generations, ids;
  INSERT INTO annal.redaction (appliance, log, generation, id)
    SELECT DISTINCT k.appliance, redact.log, k.generation, k.id
    FROM unnest(appliances, generations, ids) AS k(appliance, generation, id)
    ON CONFLICT DO NOTHING;
END
$$;

REVOKE ALL ON FUNCTION annal.make_partitions, annal.drop_before, annal.redact FROM PUBLIC;

-- A writer adds, and reads nothing.
GRANT USAGE ON SCHEMA annal TO annal_writer, annal_reader;
GRANT INSERT ON annal.event, annal.conn, annal.fileop, annal.notice, annal.gap, annal.head TO annal_writer;
GRANT EXECUTE ON FUNCTION annal.make_partitions, annal.redact TO annal_writer;
GRANT SELECT ON annal.event, annal.conn, annal.fileop, annal.notice, annal.gap, annal.redaction, annal.head,
  annal.entry TO annal_reader;
