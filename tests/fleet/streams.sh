#!/usr/bin/env bash
# streams.sh [BIN]: the JetStream sink and the collector, and three real servers: what is refused, repeated or late.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"
# shellcheck source=tests/fleet/jetstream.sh
source "$here/jetstream.sh"
certificates
nats_prepare tls

# sink MORE: a configuration of the sink.
sink() {
  printf 'type = "jetstream"\nservers = %s\nuser = "appliance"\npassword_file = "%s"\ntimeout = 3\n' \
    "$(nats_servers)" "$folder/appliance.word"
  printf '%s\n' "$@"
}
# collector: its configuration. It creates the stream, and its database is absent.
collector() {
  printf 'refused_file = "%s"\n[jetstream]\nservers = %s\nuser = "collector"\npassword_file = "%s"\nca_file = "%s"\n' \
    "$folder/refused.jsonl" "$(nats_servers)" "$folder/collector.word" "$folder/tls/authority.pem"
  printf "%s\n" "[database]" "host = \"/nowhere\""
}
trusted="ca_file = \"$folder/tls/authority.pem\""
sink "$trusted" >"$folder/sink.toml"

echo "servers that are absent"
expect_match "are named" "$(deliver "$folder/sink.toml" 2>&1)" "trouble: cannot connect to nats://localhost"

for node in "${nodes[@]}"; do
  start_node "$node"
done

echo "identity"
sink "ca_file = \"$folder/tls/stranger.pem\"" >"$folder/stranger.toml"
expect_match "an authority that is not trusted" "$(deliver "$folder/stranger.toml" 2>&1)" "trouble: cannot connect.*(certificate|SSL)"
sink "$trusted" | sed 's/localhost/127.0.0.1/g' >"$folder/name.toml"
expect_match "a certificate for another name" "$(deliver "$folder/name.toml" 2>&1)" "trouble: cannot connect"
printf 'wrong\n' >"$folder/wrong.word"
sed "s|$folder/appliance.word|$folder/wrong.word|" "$folder/sink.toml" >"$folder/wrong.toml"
expect_match "a wrong password" "$(deliver "$folder/wrong.toml" 2>&1)" "trouble: cannot connect.*[Aa]uthorization"

echo "a stream that is missing"
expect_match "is named" "$(deliver "$folder/sink.toml" 2>&1)" "trouble: .*no stream takes this subject"

echo "the collector creates it"
collector >"$folder/collect.toml"
begin "$ANNAL_BIN/annal-collect" --config "$folder/collect.toml" 2>"$folder/collect.log"
collector=$!
# However long it takes to elect a leader.
taken() { deliver "$folder/sink.toml" --tries 40 2>/dev/null | cut -d ' ' -f 1-4; }
expect "and entries are stored" "$(taken)" "acknowledged 1 refused 0"

echo "an appliance's neighbour"
sed "s|appliance|neighbour|" "$folder/sink.toml" >"$folder/neighbour.toml"
expect_match "cannot publish in its name" "$(deliver "$folder/neighbour.toml" 2>&1)" "trouble: .*[Pp]ermissions"
# What a program of one's own may do.
python3 - "${node_port[three]}" "$folder/tls/authority.pem" <<'PUBLISH'
import json, socket, ssl, sys
name = "fedcba9876543210fedcba9876543210"
body = json.dumps({"appliance": "0123456789abcdef0123456789abcdef", "log": "event", "generation": 1, "kind": "gap", "id": 1,
                   "count": 1, "date": "2026-11-21", "time": "10:00:00", "timestamp": None})
plain = socket.create_connection(("localhost", int(sys.argv[1])))
plain.recv(65536)
with ssl.create_default_context(cafile=sys.argv[2]).wrap_socket(plain, server_hostname="localhost") as server:
    words = json.dumps({"verbose": False, "tls_required": True, "user": "neighbour", "pass": "neighbour-word"})
    server.sendall(f"CONNECT {words}\r\nPUB annal.{name}.event {len(body)}\r\n{body}\r\nPING\r\n".encode())
    while b"PONG" not in server.recv(65536):
        pass
PUBLISH
wait_for 60 grep -q 'came by annal.fedcba9876543210fedcba9876543210.event' "$folder/refused.jsonl"
expect_match "and what it writes under its own is set aside" "$(cat "$folder/refused.jsonl")" \
  'it says that it is of 0123456789abcdef0123456789abcdef, and came by'

echo "repeated messages count as success, and are stored once"
stored() { cat "$folder"/{one,two,three}/jetstream/*/streams/ANNAL/msgs/*.blk 2>/dev/null | grep -ac '"kind":"entry"'; }
sleep 1
before=$(stored)
expect_match "there is one on each node" "$before" '^[1-9]'
taken >/dev/null
sleep 1
expect "nothing was added" "$(stored)" "$before"

echo "a node that is killed"
kill_node one
expect "costs nothing" "$(taken)" "acknowledged 1 refused 0"
echo "two of three"
kill_node two
expect_match "are too many, which is noticed within seconds" "$(timeout 30 "$ANNAL_BIN/deliver" "$folder/sink.toml" 2>&1)" "trouble: "
start_node one
start_node two
expect "and nothing is lost once they are back" "$(taken)" "acknowledged 1 refused 0"
kill "$collector"
verdict
