-- Records that annal.store could not store, as they came.
CREATE TABLE annal.refused (
  record text NOT NULL,
  reason text NOT NULL,
  received timestamptz NOT NULL DEFAULT now()
);

-- Storing one record from its JSON, for programs that pass records on without knowing them, such as rsyslog. What it
-- stores equals what annal-export and annal-collect copy.
CREATE FUNCTION annal.store_json(record jsonb) RETURNS void
LANGUAGE plpgsql SET search_path = pg_catalog, pg_temp AS $$
DECLARE
  log text := record->>'log';
  appliance uuid := record->>'appliance';
  generation bigint := record->>'generation';
  id bigint := record->>'id';
  seconds numeric := record->>'timestamp';
  happened timestamptz;
  fitting jsonb;
  others jsonb;
BEGIN
  IF log IS NULL OR log NOT IN ('event', 'conn', 'fileop', 'notice') THEN
    RAISE EXCEPTION 'there is no log %', log USING ERRCODE = 'invalid_parameter_value';
  END IF;
  IF seconds BETWEEN -62135596800 AND 253402300799 THEN
    happened := to_timestamp(seconds::double precision);
  END IF;
  IF record->>'kind' = 'gap' THEN
    INSERT INTO annal.gap (appliance, log, generation, first_id, entries, found)
      VALUES (appliance, log, generation, id, (record->>'count')::bigint, happened)
      ON CONFLICT DO NOTHING;
    RETURN;
  END IF;
  IF record->>'kind' = 'head' THEN
    INSERT INTO annal.head (appliance, log, generation, sealed, head)
      VALUES (appliance, log, generation, happened, record->'head')
      ON CONFLICT DO NOTHING;
    RETURN;
  END IF;
  IF record->>'kind' = 'redaction' THEN
    PERFORM annal.redact(log, ARRAY[appliance], ARRAY[generation], ARRAY[id]);
  END IF;
  PERFORM annal.make_partitions(log, ARRAY[(record->>'date')::date]);
  WITH field AS (
    SELECT key, value,
           CASE WHEN log = 'notice' AND key = 'severity' THEN 'notice_severity' ELSE lower(key) END AS name
    FROM jsonb_each(record->'fields')
    WHERE key <> CASE log WHEN 'conn' THEN 'conn_id' WHEN 'notice' THEN 'id' ELSE 'event_id' END
  ), judged AS (
    SELECT key, value, name,
           a.attname IS NULL OR (a.atttypid = 'bigint'::regtype AND jsonb_typeof(value) NOT IN ('number', 'null')) AS odd
    FROM field
    LEFT JOIN pg_attribute AS a
      ON a.attrelid = format('annal.%I', log)::regclass AND a.attname = field.name AND a.attnum > 0
         AND NOT a.attisdropped
  )
  SELECT coalesce(jsonb_object_agg(name, value) FILTER (WHERE NOT odd), '{}'),
         jsonb_object_agg(key, value) FILTER (WHERE odd)
    INTO fitting, others FROM judged;
  EXECUTE format('INSERT INTO annal.%1$I SELECT * FROM jsonb_populate_record(NULL::annal.%1$I, $1) ON CONFLICT DO NOTHING',
                 log)
    USING fitting || jsonb_build_object(
      'appliance', appliance, 'generation', generation, 'id', id, 'stored_date', record->'date', 'happened', happened,
      'severity', record->'severity', 'level', record->'level', 'other_fields', others, 'received', now());
END
$$;

-- The same for programs that take an error for a broken connection, or drop what caused it: what cannot be stored is set
-- aside. Other errors, such as a full disk, are errors here too.
CREATE FUNCTION annal.store(record text) RETURNS void
LANGUAGE plpgsql SET search_path = pg_catalog, pg_temp AS $$
BEGIN
  PERFORM annal.store_json(record::jsonb);
EXCEPTION
  WHEN data_exception OR integrity_constraint_violation OR program_limit_exceeded OR raise_exception THEN
    INSERT INTO annal.refused (record, reason) VALUES (record, sqlerrm);
END
$$;

REVOKE ALL ON FUNCTION annal.store_json, annal.store FROM PUBLIC;
GRANT EXECUTE ON FUNCTION annal.store_json, annal.store TO annal_writer;
GRANT INSERT ON annal.refused TO annal_writer;
GRANT SELECT ON annal.refused TO annal_reader;
