#!/usr/bin/env bash
# rsyslog.sh [BIN]: the recipe of docs/fleet.md, rsyslog straight into the database, and what its queues lose.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"

server=$(find /usr/lib/postgresql -maxdepth 2 -name bin | sort -V | tail -n 1)
server_user=()
((EUID != 0)) || server_user=(setpriv --reuid=postgres --regid=postgres --clear-groups)
database_port=$(free_port)
relp_port=$(free_port)
certificates
mkdir "$folder/data" "$folder/socket"
((EUID != 0)) || chown postgres "$folder/data" "$folder/socket"
chmod 777 "$folder/socket"
"${server_user[@]}" "$server/initdb" -D "$folder/data" -U postgres --auth-local=trust >"$folder/initdb.log"
begin "${server_user[@]}" "$server/postgres" -D "$folder/data" -k "$folder/socket" -p "$database_port" \
  -c listen_addresses= >"$folder/server.log" 2>&1
wait_for psql -X -h "$folder/socket" -p "$database_port" -U postgres -c 'SELECT 1'
sql() { psql -X -q -A -t -v ON_ERROR_STOP=1 -h "$folder/socket" -p "$database_port" -U postgres annal -c "$1" 2>&1; }
createdb -h "$folder/socket" -p "$database_port" -U postgres annal
"$ANNAL_BIN/annal-database" print | psql -X -q -h "$folder/socket" -p "$database_port" -U postgres annal >/dev/null 2>&1
sql 'CREATE ROLE collector LOGIN IN ROLE annal_writer' >/dev/null

# recipe QUEUE: the document's, with this test's places, and with another queue.
recipe() {
  sed -n '/^<!-- rsyslog -->$/,/^<!-- end of rsyslog -->$/{/^[^<`]/p}' "$here/../../docs/fleet.md" |
    sed -e "s|/var/spool/rsyslog|$folder/work|" -e "s|port=\"2514\"|address=\"127.0.0.1\" port=\"$relp_port\"|" \
      -e "s|/etc/rsyslog.d/tls/|$folder/tls/|" -e "s|queue.type=\"Direct\"|$1|" \
      -e "s|postgresql://[^\"]*|postgresql://collector@${folder//\//%2F}%2Fsocket:$database_port/annal|"
}

start_rsyslog() {
  recipe "$1" >"$folder/rsyslog.conf"
  rm -f "$folder/rsyslog.pid"
  begin rsyslogd -n -f "$folder/rsyslog.conf" -i "$folder/rsyslog.pid" >>"$folder/rsyslog.log" 2>&1
  rsyslog=$!
  wait_for listens "$relp_port"
}
stop_rsyslog() {
  kill "-$1" "$rsyslog"
  wait "$rsyslog" 2>/dev/null || true
}

cat >"$folder/relp.toml" <<END
type = "relp"
host = "localhost"
port = $relp_port
ca_file = "$folder/tls/authority.pem"
certificate_file = "$folder/tls/client.pem"
key_file = "$folder/tls/client.key"
timeout = 10
END
mkdir "$folder/work"

echo "the recipe"
start_rsyslog 'queue.type="Direct"'
printf '%s\n' 'two\nlines' "it's ] and \" and \\\\N \\e" 'ünïcödé 😀' >"$folder/hostile"
expect_match "takes entries and a gap" "$(deliver "$folder/relp.toml" --count 3 --gap 4 --messages "$folder/hostile")" 'acknowledged 4'
expect "stores them as they are" "$(sql 'SELECT json_agg(event_desc ORDER BY id) FROM annal.event')" \
  '["it'"'"'s ] and \" and \\N \u001b", "ünïcödé 😀", "two\nlines"]'
expect "and the gap" "$(sql 'SELECT first_id, entries FROM annal.gap')" '4|4'

echo "an appliance that seals and redacts"
sql 'TRUNCATE annal.event, annal.gap' >/dev/null
sealed "$folder/relp.toml" psql -X -q -A -t -h "$folder/socket" -p "$database_port" -U postgres annal -c \
  'SELECT head FROM annal.head ORDER BY sealed'
expect "what it redacts is blank here too" "$(sql "SELECT id || '=' || event_desc || '/' || event_user FROM annal.event ORDER BY id" | tr '\n' ' ')" \
  '1=first/ann 2=[redacted]/[redacted] 3=third/ann '
expect "with a trace" "$(sql 'SELECT log, id FROM annal.redaction')" 'event|2'
expect "and nothing was set aside" "$(sql 'SELECT count(*) FROM annal.refused')" 0
stop_rsyslog TERM

# killed NAME QUEUE: kills rsyslog while entries come, and says how many acknowledged ones are not in the database.
killed() {
  sql 'TRUNCATE annal.event' >/dev/null
  rm -rf "$folder/work"
  mkdir "$folder/work"
  start_rsyslog "$2"
  deliver "$folder/relp.toml" --count 50000 --batch 100 >"$folder/out" 2>/dev/null &
  local sender=$! acknowledged stored before
  sleep 4
  stop_rsyslog KILL
  wait "$sender" || true
  start_rsyslog "$2"
  stored=-1
  before=-2
  while [[ $stored != "$before" ]]; do
    sleep 2
    before=$stored
    stored=$(sql 'SELECT count(*) FROM annal.event')
  done
  stop_rsyslog TERM
  acknowledged=$(awk '{print $2}' "$folder/out")
  lost=$((acknowledged > stored ? acknowledged - stored : 0))
  echo "  $1: $acknowledged acknowledged in 4 s, $lost of them lost"
}

echo "rsyslog killed while entries come"
killed "no queue, as in the recipe" 'queue.type="Direct"'
expect "the recipe loses nothing" "$lost" 0
killed "a queue in memory" 'queue.type="LinkedList"'
killed "a queue in memory, helped by the disk" 'queue.type="LinkedList" queue.filename="q" queue.saveOnShutdown="on"'
killed "a queue on disk" 'queue.type="Disk" queue.filename="q"'
verdict
