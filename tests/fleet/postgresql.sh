#!/usr/bin/env bash
# postgresql.sh [BIN]: the PostgreSQL sink and its schema, and a real server.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"

# Debian's server is not in the PATH.
server=$(find /usr/lib/postgresql -maxdepth 2 -name bin | sort -V | tail -n 1)
data=$folder/data
port=$(free_port)
certificates

# The server refuses to run as root.
server_user=()
((EUID != 0)) || server_user=(setpriv --reuid=postgres --regid=postgres --clear-groups)
owned() { if ((EUID == 0)); then chown -R postgres "$@"; fi; }

mkdir "$data" "$folder/socket"
owned "$data" "$folder/socket"
chmod 777 "$folder/socket"
"${server_user[@]}" "$server/initdb" -D "$data" -U postgres --auth-local=trust --auth-host=scram-sha-256 >"$folder/initdb.log"

# start CERTIFICATE
start() {
  cp "$folder/tls/$1.pem" "$data/server.crt"
  cp "$folder/tls/$1.key" "$data/server.key"
  owned "$data/server.crt" "$data/server.key"
  begin "${server_user[@]}" "$server/postgres" -D "$data" -k "$folder/socket" -p "$port" -c listen_addresses=127.0.0.1 \
    -c ssl=on -c fsync=on -c max_connections=20 >>"$folder/server.log" 2>&1
  postgres=$!
  wait_for psql -X -h "$folder/socket" -p "$port" -U postgres -c 'SELECT 1' "${2:-postgres}"
}
stop() {
  kill "-${1:-INT}" "$postgres"
  wait "$postgres" 2>/dev/null || true
}
sql() { psql -X -q -A -t -v ON_ERROR_STOP=1 -h "$folder/socket" -p "$port" -U postgres annal -c "$1" 2>&1; }

# target HOST MORE: a configuration.
target() {
  printf 'type = "postgresql"\nhost = "%s"\nport = %s\nuser = "appliances"\n' "$1" "$port"
  printf 'password_file = "%s"\nca_file = "%s"\n' "$folder/password" "$folder/tls/authority.pem"
  printf '%s\n' "${2:-}"
}
printf 'word-%s\n' "$RANDOM$RANDOM$RANDOM" >"$folder/password"
target localhost >"$folder/pg.toml"
pg=$folder/pg.toml

echo "a server that is absent"
expect_match "is named" "$(deliver "$pg" 2>&1)" "trouble: database annal on localhost:$port: .*refused"

echo "the schema"
start server
createdb -h "$folder/socket" -p "$port" -U postgres annal
sql "CREATE ROLE appliances LOGIN PASSWORD '$(cat "$folder/password")'" >/dev/null
sql "CREATE ROLE auditor LOGIN PASSWORD 'auditor'" >/dev/null
expect_match "is asked for" "$(deliver "$pg" 2>&1)" "trouble: .*schema"
printf 'host = "%s"\nport = %s\nuser = "postgres"\n' "$folder/socket" "$port" >"$folder/owner.toml"
database() { "$ANNAL_BIN/annal-database" -c "$folder/owner.toml" "$@"; }
expect_match "is applied" "$(database apply)" '0001_logs.*0002_partitions.*0003_store'
expect "only once" "$(database apply)" ""
createdb -h "$folder/socket" -p "$port" -U postgres printed
for _ in first second; do
  database print | psql -X -q -h "$folder/socket" -p "$port" -U postgres printed >>"$folder/schema.log" 2>&1
done
dump() { pg_dump -s -h "$folder/socket" -p "$port" -U postgres "$1" | grep -v '^.\(un\)\?restrict '; }
expect "as a script it makes the same" "$(diff <(dump annal) <(dump printed))" ""
printf 'host = "localhost"\nport = 1\ntls = "off"\n' >"$folder/nowhere.toml"
expect_match "an unreachable server is told" "$("$ANNAL_BIN/annal-database" -c "$folder/nowhere.toml" apply 2>&1)" \
  '^annal-database: database annal on localhost:1: .*refused'
expect_match "a user without the role is told" "$(deliver "$pg" 2>&1)" "trouble: .*annal_writer"
sql 'GRANT annal_writer TO appliances; GRANT annal_reader TO auditor' >/dev/null

echo "entries"
for log in event conn fileop notice; do
  expect_match "of the $log log are stored" "$(deliver "$pg" --log "$log" --count 2500 2>&1)" 'acknowledged 2500 refused 0'
done
expect_match "that come again are acknowledged" "$(deliver "$pg" --from 2000 --count 1000 --gap 20 2>&1)" 'acknowledged 1001'
expect "and are there once" "$(sql 'SELECT count(*), count(DISTINCT id) FROM annal.event')" '2999|2999'
expect "a gap is a row" "$(sql 'SELECT log, first_id, entries FROM annal.gap')" 'event|3000|20'
expect "the view has all logs" "$(sql 'SELECT log, count(*) FROM annal.entry GROUP BY 1 ORDER BY 1' | tr '\n' ' ')" \
  'conn|2500 event|2999 fileop|2500 notice|2500 '
deliver "$pg" --generation 2 --count 5 >/dev/null
expect "a new generation has its own ids" "$(sql 'SELECT count(*) FROM annal.event WHERE generation = 2')" 5
expect "each column has its value" "$(sql "SELECT * FROM annal.event WHERE id = 7 AND generation = 1" | cut -d'|' -f1-23)" \
  '01234567-89ab-cdef-0123-456789abcdef|1|7|2026-11-21|2026-11-21 10:00:00+00|4|warning|1|2026-11-21|10:00:00|admin|192.0.2.1|desk|Volume 7 is nearly full.|0|1795255200|A1|Storage|C1|Volumes|---|---|---'
expect "notices too" "$(sql "SELECT notice_severity, servicename, facility, time, \"user\", \"desc\", other_fields IS NULL FROM annal.notice WHERE id = 7")" \
  '4|Storage|10|1795255200|admin|Volume 7 is nearly full.|t'

echo "hostile texts"
printf '%s\n' 'two\nlines\t\r' "it's \\\\N; DROP TABLE x; --" '\\.' 'ünïcödé 😀' >"$folder/hostile"
deliver "$pg" --generation 3 --count 4 --messages "$folder/hostile" >/dev/null
expect "come as they are" "$(sql "SELECT json_agg(event_desc ORDER BY id) FROM annal.event WHERE generation = 3")" \
  '["it'"'"'s \\N; DROP TABLE x; --", "\\.", "ünïcödé 😀", "two\nlines\t\r"]'

echo "a row that the server refuses"
sql "ALTER TABLE annal.event ADD CONSTRAINT no_poison CHECK (event_desc <> 'poison')" >/dev/null
printf 'good\ngood\npoison\ngood\ngood\n' >"$folder/messages"
expect_match "does not stop the others" "$(deliver "$pg" --generation 4 --count 1000 --messages "$folder/messages" 2>&1)" \
  'refused 2: .*no_poison.*acknowledged 1000 refused 200'
expect "which are there" "$(sql 'SELECT count(*) FROM annal.event WHERE generation = 4')" 800

echo "an entry that was blanked out"
echo 'blanked' >"$folder/messages"
deliver "$pg" --redact --from 7 --messages "$folder/messages" >/dev/null
deliver "$pg" --from 7 >/dev/null
expect "replaces the first" "$(sql 'SELECT event_desc FROM annal.event WHERE id = 7 AND generation = 1')" blanked
expect "and leaves a trace" "$(sql 'SELECT log, id FROM annal.redaction')" 'event|7'
for _ in again 'and again'; do
  deliver "$pg" --redact --from 7 --messages "$folder/messages" >/dev/null
done
expect "a repeated redaction changes nothing" \
  "$(sql 'SELECT count(*), min(event_desc) FROM annal.event WHERE id = 7 AND generation = 1' && sql 'SELECT count(*) FROM annal.redaction')" \
  $'1|blanked\n1'
deliver "$pg" --generation 12 --redact --from 5 --messages "$folder/messages" >/dev/null
deliver "$pg" --generation 12 --from 1 --count 9 >/dev/null
expect "one that comes before its entry keeps that away" \
  "$(sql "SELECT count(*), count(*) FILTER (WHERE event_desc = 'blanked') FROM annal.event WHERE generation = 12")" '9|1'

echo "heads"
deliver "$pg" --generation 1 --from 7 --head 17 >/dev/null
deliver "$pg" --generation 1 --from 7 --head 17 >/dev/null
deliver "$pg" --generation 1 --from 7 --head 18 >/dev/null
expect "are kept once each" "$(sql "SELECT log, sealed, head->'sequence' FROM annal.head ORDER BY 3")" \
  $'event|2026-11-21 10:00:00+00|17\nevent|2026-11-21 10:00:00+00|18'

echo "records as JSON"
printf '%s\n' 'two\nlines \e[31m' "it's \\\\N" >"$folder/hostile"
json=$folder/records
echo 'type = "stdout"' >"$folder/stdout.toml"
for log in event conn fileop notice; do
  deliver "$pg" --generation 20 --log "$log" --count 3 --gap 2 --head 20 --messages "$folder/hostile" >/dev/null
  deliver "$folder/stdout.toml" --generation 20 --log "$log" --count 3 --gap 2 --head 20 \
    --messages "$folder/hostile" | grep '^{' >>"$json"
done
sed "s/'/''/g; s/.*/SELECT annal.store('&');/; s/\"generation\":20/\"generation\":21/" "$json" |
  PGPASSWORD=$(cat "$folder/password") psql -X -q -v ON_ERROR_STOP=1 \
    "host=localhost port=$port dbname=annal user=appliances sslmode=require" >/dev/null
for log in event conn fileop notice; do
  rows() { sql "SELECT to_jsonb(t) - 'received' - 'generation' FROM annal.$log AS t WHERE generation = $1 ORDER BY id"; }
  expect "are the same rows of the $log log" "$(rows 21)" "$(rows 20)"
  expect "of which there are" "$(rows 21 | wc -l)" 3
done
expect "and the same gaps" "$(sql 'SELECT count(*), count(DISTINCT (log, first_id, entries)) FROM annal.gap WHERE generation IN (20, 21)')" '8|4'
expect "and the same heads" "$(sql "SELECT log, count(*) FROM annal.head WHERE head->>'sequence' = '20' GROUP BY 1 ORDER BY 1" | tr '\n' ' ')" \
  'conn|1 event|1 fileop|1 notice|1 '
sql "SELECT annal.store('{\"appliance\":\"0123456789abcdef0123456789abcdef\",\"log\":\"event\",\"generation\":22,\"kind\":\"entry\",
  \"id\":1,\"date\":\"2026-11-21\",\"time\":\"10:00:00\",\"timestamp\":null,\"level\":\"warning\",\"severity\":4,\"message\":\"m\",
  \"fields\":{\"event_id\":1,\"event_type\":\"odd\",\"later\":5}}')" >/dev/null
expect "what has no column is kept" "$(sql 'SELECT event_type IS NULL, other_fields FROM annal.event WHERE generation = 22')" \
  't|{"later": 5, "event_type": "odd"}'

for record in 'no JSON' '{}' '{"log":"event","appliance":"x"}' \
  '{"log":"event","appliance":"0123456789abcdef0123456789abcdef","generation":1,"id":1,"date":"2026-02-31","fields":{}}'; do
  sql "SELECT annal.store('$record')" >/dev/null
done
expect "what cannot be stored is set aside" "$(sql 'SELECT count(*), count(reason) FROM annal.refused')" '4|4'

echo "rights"
as() { PGPASSWORD=$2 psql -X -q -A -t "host=localhost port=$port dbname=annal user=$1 sslmode=require" -c "$3" 2>&1 || true; }
expect_match "a writer cannot read" "$(as appliances "$(cat "$folder/password")" 'SELECT * FROM annal.entry')" 'permission denied'
expect_match "nor delete" "$(as appliances "$(cat "$folder/password")" 'DELETE FROM annal.event')" 'permission denied'
expect_match "nor look at heads" "$(as appliances "$(cat "$folder/password")" 'SELECT * FROM annal.head')" 'permission denied'
expect_match "nor change one" "$(as appliances "$(cat "$folder/password")" "UPDATE annal.head SET head = '{}'")" 'permission denied'
expect_match "nor take one away" "$(as appliances "$(cat "$folder/password")" 'DELETE FROM annal.head')" 'permission denied'
expect_match "nor drop partitions" "$(as appliances "$(cat "$folder/password")" "SELECT annal.drop_before('2030-01-01')")" 'permission denied'
expect "a reader can read" "$(as auditor auditor 'SELECT count(*) > 0 FROM annal.entry')" t
expect_match "but not write" "$(as auditor auditor "INSERT INTO annal.gap VALUES ('0123456789abcdef0123456789abcdef', 'event', 1, 1, 1)")" 'permission denied'

echo "partitions"
expect "are made by month" "$(sql "SELECT to_regclass('annal.event_202611') IS NOT NULL")" t
for date in 1970-01-01 2099-01-01; do
  deliver "$pg" --generation 5 --date "$date" >/dev/null
done
expect "a wrong clock makes none" "$(sql "SELECT count(*) FROM annal.event_other_dates")" 2
for date in 2099-01-01 "$(date -u +%F)" 1970-01-01 "$(date -u +%F)" 2099-01-01; do
  deliver "$pg" --generation 13 --from "${date:2:2}" --date "$date" >/dev/null
done
expect "nor does one that jumps double anything" "$(sql "SELECT count(*), count(DISTINCT id) FROM annal.event WHERE generation = 13")" '3|3'
old=$(date -u -d '-100 days' +%F)
sql "INSERT INTO annal.event_other_dates (appliance, generation, id, stored_date, severity, level) VALUES
  ('0123456789abcdef0123456789abcdef', 6, 1, '$old', 6, 'information')" >/dev/null
deliver "$pg" --generation 6 --from 2 --date "$old" >/dev/null
expect "a late one takes what was there" \
  "$(sql "SELECT count(*), min(tableoid::regclass::text) FROM annal.event WHERE generation = 6")" "2|annal.event_$(date -u -d "$old" +%Y%m)"
sql "UPDATE annal.setting SET partition_width = 'day'" >/dev/null
older=$(date -u -d '-200 days' +%F)
deliver "$pg" --generation 7 --date "$older" >/dev/null
expect "are made by day if set so" "$(sql "SELECT tableoid::regclass FROM annal.event WHERE generation = 7")" \
  "annal.event_$(date -u -d "$older" +%Y%m%d)"
sql "UPDATE annal.setting SET partition_width = 'month'" >/dev/null
for day in infinity 1234567890 1/8/2026 2026-02-30 2026-8-1 '2026-08-01 12:00' '' "$(date -u -d '+2 days' +%F)"; do
  expect "are not dropped before '$day'" "$(database drop-before "$day" 2>&1 | grep -cE 'is no day|is yet to come')" 1
done
expect "are dropped when they are old" "$(database drop-before "$(date -u -d '-60 days' +%F)" | wc -l)" 2
sql "UPDATE annal.event_other_dates SET received = '2026-01-01' WHERE generation = 5 AND stored_date = '1970-01-01'" >/dev/null
sql "INSERT INTO annal.head (appliance, log, generation, sealed, head, received) SELECT appliance, log, generation, sealed, head || jsonb_build_object('sequence', n),
  '2026-01-01'::date + n FROM (SELECT * FROM annal.head WHERE log = 'conn' LIMIT 1) AS one, generate_series(1, 3) AS n" >/dev/null
before=$(sql "SELECT count(*) FROM annal.head")
database drop-before "$(date -u -d '-60 days' +%F)" >/dev/null
expect "so are entries with other dates that had arrived by then" "$(sql 'SELECT stored_date FROM annal.event WHERE generation = 5')" 2099-01-01
expect "and heads, but for a chain's newest" \
  "$(sql "SELECT $before - count(*), count(*) FILTER (WHERE log = 'conn') FROM annal.head")" '3|1'
expect "with their entries" "$(sql 'SELECT count(*) FROM annal.event WHERE generation IN (6, 7)')" 0

echo "an appliance that seals and redacts"
createdb -h "$folder/socket" -p "$port" -U postgres proof
printf 'host = "%s"\nport = %s\nuser = "postgres"\ndatabase = "proof"\n' "$folder/socket" "$port" >"$folder/proof-owner.toml"
"$ANNAL_BIN/annal-database" -c "$folder/proof-owner.toml" apply >/dev/null
mkdir -p "$folder/proof"
echo 0123456789abcdef0123456789abcdef >"$folder/machine-id"
{
  printf 'state = "%s"\nmachine_id = "%s"\n[logs]\nconn = false\nnotice = false\n[sink.database]\n' \
    "$folder/proof" "$folder/machine-id"
  cat "$pg"
  echo 'database = "proof"'
} >"$folder/proof.toml"
"$ANNAL_BIN/private-appliance" "$here/proof.sh" "$ANNAL_BIN" "$folder" "$folder/proof.toml" \
  psql -X -q -A -t -h "$folder/socket" -p "$port" -U postgres proof -c >"$folder/proof.out" ||
  cat "$folder/proof.out"
found() { sed -n "s/^$1: //p" "$folder/proof.out"; }
expect "its entries arrive" "$(found sent)" '4|1'
expect "what it redacts is blank here too" "$(found redacted)" \
  '1=first/ann 2=[redacted]/[redacted] 3=third/ann 4=not yet sealed/ann 5=[redacted]/[redacted]'
expect "with a trace of each" "$(found traces)" '2 5'
expect "also if the entry has gone since" "$(found gone)" '1|0'
expect "its heads arrive" "$(found heads)" 3
expect "and verify" "$(found verified)" 0
expect "another log with a chain of its own seems sound" "$(found 'rewritten, without the heads')" 0
expect "and not beside the heads that were sent" "$(found 'with them')" 3

echo "a server that is killed and started again while entries come"
deliver "$pg" --generation 8 --count 60000 --batch 1000 --seconds "$patience" >"$folder/killed.log" 2>&1 &
sender=$!
started+=("$sender")
for _ in 1 2 3; do
  sleep 0.7
  # The whole server: the death of its first process alone would leave the others.
  pkill -KILL -P "$postgres" || true
  stop KILL
  rm -f "$data/postmaster.pid"
  start server annal
done
wait "$sender" || true
expect_match "all are acknowledged" "$(tail -n 1 "$folder/killed.log")" '^acknowledged 60000 refused 0'
expect "none is lost, none is doubled" "$(sql 'SELECT count(*), count(DISTINCT id) FROM annal.event WHERE generation = 8')" '60000|60000'

echo "two that deliver the same entries at once"
deliver "$pg" --generation 9 --count 20000 --batch 500 --seconds "$patience" >"$folder/one.log" 2>&1 &
sender=$!
started+=("$sender")
deliver "$pg" --generation 9 --count 20000 --batch 700 --seconds "$patience" >"$folder/other.log" 2>&1
wait "$sender" || true
expect "each is there once" "$(sql 'SELECT count(*), count(DISTINCT id) FROM annal.event WHERE generation = 9')" '20000|20000'

deliver "$pg" --generation 10 --count 200000 --batch 5000 | sed 's/^/  with TLS: /'

echo "secrets and TLS"
expect "no log has the password" "$(grep -c "$(cat "$folder/password")" "$folder/killed.log" "$folder/one.log" | grep -vc ':0$' || true)" 0
cp "$folder/password" "$folder/right"
echo wrong >"$folder/password"
expect_match "a wrong password is told" "$(deliver "$pg" 2>&1)" 'password authentication failed'
cp "$folder/right" "$folder/password"
target 127.0.0.1 >"$folder/address.toml"
expect_match "another name than the certificate's is refused" "$(deliver "$folder/address.toml" 2>&1)" 'does not match host name'
target "$folder/socket" >"$folder/socket.toml"
expect_match "a local socket needs no TLS" "$(deliver "$folder/socket.toml" --generation 11 2>&1)" 'acknowledged 1'
stop
for certificate in forged elsewhere expired; do
  start "$certificate"
  case $certificate in
    forged) why='certificate verify failed' ;;
    elsewhere) why='does not match host name' ;;
    expired) why='certificate has expired|certificate verify failed' ;;
  esac
  expect_match "the certificate '$certificate' is refused" "$(deliver "$pg" 2>&1)" "$why"
  stop
done
verdict
