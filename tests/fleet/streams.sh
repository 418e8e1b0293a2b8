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
  printf '%s\n' 'duplicate_seconds = 1800' '[database]' 'host = "/nowhere"'
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

expired=$(free_port)
begin nats-server -a 127.0.0.1 -p "$expired" --tls --tlscert "$folder/tls/expired.pem" --tlskey "$folder/tls/expired.key" \
  >"$folder/expired.log" 2>&1
wait_for listens "$expired"
sink "$trusted" | sed "s|^servers = .*|servers = [\"nats://localhost:$expired\"]|" >"$folder/expired.toml"
expect_match "a certificate that has expired" "$(deliver "$folder/expired.toml" 2>&1)" "trouble: cannot connect.*(expired|SSL)"

echo "a stream that is missing"
expect_match "is named" "$(deliver "$folder/sink.toml" 2>&1)" "trouble: .*no stream takes this subject"

echo "the collector creates it"
collector >"$folder/collect.toml"
begin "$ANNAL_BIN/annal-collect" --config "$folder/collect.toml" 2>"$folder/collect.log"
collector=$!
# Electing a leader takes 3 to 8 seconds, and as long again each time that no candidate wins: 19 were seen.
taken() { deliver "$folder/sink.toml" --seconds "$patience" 2>>"$folder/deliver.log" | cut -d ' ' -f 1-4; }
expect "and entries are stored" "$(taken)" "acknowledged 1 refused 0"

echo "an appliance's neighbour"
sed "s|appliance|neighbour|" "$folder/sink.toml" >"$folder/neighbour.toml"
expect_match "cannot publish in its name" "$(deliver "$folder/neighbour.toml" 2>&1)" "trouble: .*[Pp]ermissions"
# What a program of one's own may do.
name=fedcba9876543210fedcba9876543210
nats_say three neighbour "annal.$name.event" '{"appliance": "0123456789abcdef0123456789abcdef", "log": "event",
  "generation": 1, "kind": "gap", "id": 1, "count": 1, "date": "2026-11-21", "time": "10:00:00", "timestamp": null}' \
  --inbox "_INBOX.$name" >"$folder/neighbour.log"
wait_for grep -q 'came by annal.fedcba9876543210fedcba9876543210.event' "$folder/refused.jsonl"
expect_match "and what it writes under its own is set aside" "$(cat "$folder/refused.jsonl")" \
  'it says that it is of 0123456789abcdef0123456789abcdef, and came by'

expect_match "it cannot hear what others are answered" "$(nats_say three neighbour "annal.$name.event" '{}' 2>&1)" \
  'Permissions Violation for Subscription'

echo "repeated messages count as success, and are stored once"
stored() { cat "$folder"/{one,two,three}/jetstream/*/streams/ANNAL/msgs/*.blk 2>/dev/null | grep -ao '"kind":"entry"' | wc -l; }
has_three() { [[ $(stored) == 3 ]]; }
wait_for has_three || true
expect "there is one on each node" "$(stored)" 3
expect "it is taken again" "$(taken)" "acknowledged 1 refused 0"
sleep 2
expect "nothing was added" "$(stored)" 3

echo "a node that is killed, the stream's leader"
first=$(stream_leader "${nodes[@]}")
kill_node "$first"
mapfile -t left < <(printf '%s\n' "${nodes[@]}" | grep -vx "$first")
expect "costs nothing" "$(taken)" "acknowledged 1 refused 0"
echo "two of three, the next leader among them"
second=$(stream_leader "${left[@]}")
kill_node "$second"
expect_match "are too many, which is noticed within seconds" "$(timeout 60 "$ANNAL_BIN/deliver" "$folder/sink.toml" 2>&1)" "trouble: "
start_node "$first"
start_node "$second"
expect "and nothing is lost once they are back" "$(taken)" "acknowledged 1 refused 0"
kill "$collector"
verdict
