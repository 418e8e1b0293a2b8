#!/usr/bin/env bash
# simulation.sh [BIN [APPLIANCES [SECONDS]]]: 10,000 simulated appliances, three nodes, the collector and the database.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
appliances=${2:-10000}
seconds=${3:-60}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"
ulimit -n "$(ulimit -Hn)"

server=$(find /usr/lib/postgresql -maxdepth 2 -name bin | sort -V | tail -n 1)
server_user=()
((EUID != 0)) || server_user=(setpriv --reuid=postgres --regid=postgres --clear-groups)
database_port=$(free_port)
mkdir "$folder/data" "$folder/socket"
((EUID != 0)) || chown postgres "$folder/data" "$folder/socket"
chmod 777 "$folder/socket"
"${server_user[@]}" "$server/initdb" -D "$folder/data" -U postgres --auth-local=trust >"$folder/initdb.log" 2>&1
begin "${server_user[@]}" "$server/postgres" -D "$folder/data" -k "$folder/socket" -p "$database_port" \
  -c listen_addresses= >"$folder/server.log" 2>&1
sql() { psql -X -q -A -t -h "$folder/socket" -p "$database_port" -U postgres annal -c "$1"; }
wait_for psql -X -h "$folder/socket" -p "$database_port" -U postgres -c 'SELECT 1'
createdb -h "$folder/socket" -p "$database_port" -U postgres annal
printf 'host = "%s"\nport = %s\nuser = "postgres"\n' "$folder/socket" "$database_port" >"$folder/owner.toml"
"$ANNAL_BIN/annal-database" -c "$folder/owner.toml" apply >/dev/null

names=(one two three)
ports=()
clusters=()
processes=()
for _ in "${names[@]}"; do
  ports+=("$(free_port)")
  clusters+=("$(free_port)")
done
printf -v routes '"nats://127.0.0.1:%s", ' "${clusters[@]}"
for i in 0 1 2; do
  cat >"$folder/${names[i]}.conf" <<END
server_name: ${names[i]}
listen: "127.0.0.1:${ports[i]}"
jetstream { store_dir: "$folder/${names[i]}", max_file_store: 4GB }
cluster { name: fleet, listen: "127.0.0.1:${clusters[i]}", routes: [ ${routes%, } ] }
END
  begin nats-server -c "$folder/${names[i]}.conf" >"$folder/${names[i]}.log" 2>&1
  processes+=("$!")
done
for port in "${ports[@]}"; do wait_for listens "$port"; done
printf -v servers '"nats://127.0.0.1:%s", ' "${ports[@]}"
cat >"$folder/collect.toml" <<END
refused_file = "$folder/refused.jsonl"
[jetstream]
servers = [${servers%, }]
tls = "off"
[database]
$(cat "$folder/owner.toml")
END
"$ANNAL_BIN/annal-collect" --config "$folder/collect.toml" --check >/dev/null
begin "$ANNAL_BIN/annal-collect" --config "$folder/collect.toml" 2>"$folder/collect.log"
# shellcheck disable=SC2016 # a subject
wait_for "$here/nats_say.py" "${ports[0]}" none nobody '$JS.API.STREAM.INFO.ANNAL' --field cluster.leader

join() {
  local IFS=,
  echo "$*"
}
# The first node ends when the simulation asks for it.
(until [[ -e $folder/kill ]]; do sleep 0.1; done; kill -KILL "${processes[0]}") &
started+=("$!")
echo "$appliances appliances"
python3 "$here/simulation.py" "$(join "${ports[@]}")" "$(join "${processes[@]}")" "$appliances" "$seconds" "$folder" |
  tee "$folder/out"
acknowledged=$(awk '/^acknowledged/ {print $2}' "$folder/out")
expect "every entry is acknowledged" "$(tail -n 1 "$folder/out")" "acknowledged $acknowledged"
has_all() { [[ $(sql 'SELECT count(*) FROM annal.event') == "$acknowledged" ]]; }
wait_for has_all || true
expect "the database has each once" \
  "$(sql 'SELECT count(*), count(DISTINCT (appliance, generation, id)) FROM annal.event')" "$acknowledged|$acknowledged"
expect "wrong clocks made no partition" \
  "$(sql "SELECT count(*) <= 3 FROM pg_inherits WHERE inhparent = 'annal.event'::regclass")" t
echo "  entries with a date far off: $(sql 'SELECT count(*) FROM annal.event_other_dates')"
verdict
