#!/usr/bin/env bash
# otlp.sh [BIN]: the OTLP sink and a receiver that checks each request with the published definitions.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"

certificates
cp "$here"/otlp/* "$folder"
npm --prefix "$folder" ci --ignore-scripts --no-audit --no-fund --loglevel=error >"$folder/npm.log" 2>&1
mkdir "$folder/seen"
seen=$folder/seen
port=$(free_port)

start_receiver() {
  begin node "$folder/receiver.js" "$port" "$seen" "$@" 2>>"$folder/receiver.log"
  receiver=$!
  wait_for listens "$port"
}
stop_receiver() {
  kill "$receiver"
  wait "$receiver" 2>/dev/null || true
}
order() { printf '%s\n' "$@" >"$seen/orders"; }
count() { if [[ -e $seen/$1 ]]; then wc -l <"$seen/$1"; else echo 0; fi; }
forget() { rm -f "$seen"/*; }

cat >"$folder/plain.toml" <<END
type = "otlp"
url = "http://127.0.0.1:$port"
tls = "off"
bearer_token_file = "$folder/token"
END
printf 'secret-%s\n' "$RANDOM$RANDOM" >"$folder/token"
plain=$folder/plain.toml

echo "a receiver that is absent"
expect_match "is named" "$(deliver "$plain" 2>&1)" "trouble: http://127.0.0.1:$port/v1/logs: .*connect"

start_receiver
echo "requests and the published definitions"
for log in event conn fileop notice; do
  deliver "$plain" --log "$log" --count 100 --gap 7 >/dev/null
done
expect "all are valid" "$(count complaints)" 0
expect "each record has a key of its own" "$(sort -u "$seen/taken" | wc -l)" 404
expect "the token is sent" "$(sed -n '1s/^[0-9]* //p' "$seen/requests")" "Bearer $(cat "$folder/token")"
expect "the body has no token" "$(grep -c "$(cat "$folder/token")" "$seen/last.json" || true)" 0
# shellcheck disable=SC1003 # a backslash at the end of a text
printf '%s\n' 'two\nlines "quoted"\t\e[31m' 'ünïcödé 😀 \\' >"$folder/hostile"
forget
deliver "$plain" --count 2 --messages "$folder/hostile" >/dev/null
expect "hostile texts are valid too" "$(count complaints)" 0
expect "and come as they are" "$(python3 - "$seen/last.json" <<'END'
import json, sys
request = json.load(open(sys.argv[1], encoding="utf-8"))
print([one["body"]["stringValue"] for one in request["resourceLogs"][0]["scopeLogs"][0]["logRecords"]])
END
)" "['ünïcödé 😀 \\\\', 'two\\nlines \"quoted\"\\t\\x1b[31m']"

echo "an appliance that seals and redacts"
forget
sealed "$plain" python3 "$here/received.py" otlp "$seen/bodies" heads
expect "all requests are valid" "$(count complaints)" 0
expect "what it redacts comes again, blank" "$(python3 "$here/received.py" otlp "$seen/bodies" redactions)" \
  '0123456789abcdef0123456789abcdef/event/1/redaction/2 [redacted] [redacted]'

echo "what another exporter sends of the same entry"
forget
deliver "$plain" --count 1 >/dev/null
cp "$seen/last.json" "$folder/ours.json"
(cd "$folder" && node others_exporter.js "http://127.0.0.1:$port/v1/logs")
expect "is in ours, in the same places and types" "$(python3 - "$seen/last.json" "$folder/ours.json" <<'END'
import json, sys
theirs, ours = (json.load(open(name, encoding="utf-8")) for name in sys.argv[1:])
# What differs from call to call, and what describes that exporter itself.
skipped = {"observedTimeUnixNano", "droppedAttributesCount"}
def missing(left, right, place):
    if type(left) is not type(right):
        yield f"{place}: {left!r} is {right!r}"
    elif isinstance(left, dict):
        for name in left.keys() - skipped:
            yield from missing(left[name], right.get(name), f"{place}.{name}")
    elif isinstance(left, list) and left and "key" in left[0]:
        there = {one["key"]: one["value"] for one in right}
        for one in left:
            if not one["key"].startswith("telemetry.sdk."):
                yield from missing(one["value"], there.get(one["key"]), f"{place}.{one['key']}")
    elif isinstance(left, list):
        for number, (one, other) in enumerate(zip(left, right, strict=True)):
            yield from missing(one, other, f"{place}[{number}]")
    elif left != right:
        yield f"{place}: {left!r} is {right!r}"
print(*missing(theirs, ours, ""), sep="\n")
END
)" ""

echo "a receiver in trouble"
for status in 429 502 503 504; do
  forget
  order "{\"status\": $status, \"headers\": {\"Retry-After\": \"1\"}}"
  deliver "$plain" --count 5 --seconds "$patience" >/dev/null 2>&1
  expect "$status is tried again" "$(count taken)" 5
  expect "after the second that it asks for" \
    "$(python3 -c 'import sys; a, b = (int(l.split()[0]) for l in open(sys.argv[1])); print(b - a >= 900)' "$seen/requests")" True
done
forget
date_header=$(LC_ALL=C date -u -d '+3 seconds' '+%a, %d %b %Y %H:%M:%S GMT')
order "{\"status\": 503, \"headers\": {\"Retry-After\": \"$date_header\"}}"
deliver "$plain" --count 5 --seconds "$patience" >/dev/null 2>&1
expect "a date is waited for" \
  "$(python3 -c 'import sys; a, b = (int(l.split()[0]) for l in open(sys.argv[1])); print(b - a >= 1500)' "$seen/requests")" True
for status in 301 401 403 404 500; do
  forget
  order "{\"status\": $status, \"headers\": {\"Location\": \"http://127.0.0.1:$port/v1/logs\"}}"
  expect_match "$status is told, and not tried at once" "$(deliver "$plain" --count 5 2>&1)" "status $status.*acknowledged 0"
  expect "by one request" "$(count requests)" 1
done

echo "records that the receiver refuses"
forget
printf 'good\ngood\npoison\ngood\ngood\ngood\ngood\n' >"$folder/messages"
expect_match "one of a request is found" "$(deliver "$plain" --count 7 --messages "$folder/messages" 2>&1)" \
  'refused 2: .*poison.*acknowledged 7 refused 1'
expect "the others arrive once" "$(sort "$seen/taken" | uniq -c | awk '$1 == 1' | wc -l)" 6
forget
printf 'good\ngood\ndisliked\ngood\n' >"$folder/messages"
expect_match "a partial success sets its request aside" "$(deliver "$plain" --count 4 --messages "$folder/messages" 2>&1)" \
  'refuses 1 of 4 records.*acknowledged 4 refused 4'
expect "and nothing is sent twice" "$(sort "$seen/taken" | uniq -d | wc -l)" 0

forget
echo "$(deliver "$plain" --count 100000 --batch 2000) (with the definitions checked by the receiver)" | sed 's/^/  /'
stop_receiver

echo "TLS"
sed -e "s|http://127.0.0.1|https://localhost|" -e "s|tls = .*|ca_file = \"$folder/tls/authority.pem\"|" "$plain" >"$folder/tls.toml"
printf 'certificate_file = "%s/tls/client.pem"\nkey_file = "%s/tls/client.key"\n' "$folder" "$folder" >>"$folder/tls.toml"
for certificate in server forged elsewhere expired; do
  forget
  start_receiver "$folder/tls/$certificate.pem" "$folder/tls/$certificate.key" "$folder/tls/authority.pem"
  case $certificate in
    server) why='acknowledged 5 refused 0' ;;
    forged) why='(self-signed certificate|unable to get local issuer certificate)' ;;
    elsewhere) why='no alternative certificate subject name matches target host name .localhost.' ;;
    expired) why='certificate has expired' ;;
  esac
  expect_match "the certificate '$certificate'" "$(deliver "$folder/tls.toml" --count 5 2>&1)" "$why"
  [[ $certificate == server ]] || expect "nothing was sent" "$(count requests)" 0
  stop_receiver
done
verdict
