#!/usr/bin/env bash
# relp.sh [BIN]: the RELP sink and a real rsyslog, with TLS.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ANNAL_BIN=${1:-$here/../../build/release/bin}
# shellcheck source=tests/fleet/support.sh
source "$here/support.sh"

certificates
port=$(free_port)
work=$folder/rsyslog
mkdir "$work"

# configuration CERTIFICATE: the server, which demands a client's certificate too.
configuration() {
  cat <<END
global(workDirectory="$work" maxMessageSize="128k")
module(load="imrelp" tls.tlslib="openssl")
input(type="imrelp" address="127.0.0.1" port="$port" maxDataSize="128k" ruleset="store" tls="on"
  tls.caCert="$folder/tls/authority.pem" tls.myCert="$folder/tls/$1.pem" tls.myPrivKey="$folder/tls/$1.key"
  tls.authMode="certvalid" tls.permittedPeer=["appliance1"])
template(name="whole" type="string" string="%rawmsg%\n")
ruleset(name="store" queue.type="Direct") { action(type="omfile" file="$folder/received" template="whole") }
END
}

start_rsyslog() {
  configuration "$1" >"$folder/rsyslog.conf"
  begin rsyslogd -n -f "$folder/rsyslog.conf" -i "$folder/rsyslog.pid" >>"$folder/rsyslog.log" 2>&1
  rsyslog=$!
  wait_for listens "$port"
}

stop_rsyslog() {
  kill "-${1:-TERM}" "$rsyslog"
  wait "$rsyslog" 2>/dev/null || true
}

cat >"$folder/relp.toml" <<END
type = "relp"
host = "localhost"
port = $port
ca_file = "$folder/tls/authority.pem"
certificate_file = "$folder/tls/client.pem"
key_file = "$folder/tls/client.key"
timeout = 10
END

received() { [[ -e $folder/received ]] && wc -l <"$folder/received" || echo 0; }
distinct() { grep -o ' id="[0-9]*"' "$folder/received" | sort -u | wc -l; }

echo "a receiver that is absent"
expect_match "is named" "$(deliver "$folder/relp.toml" 2>&1)" "trouble: relp to localhost:$port: .*connect"

echo "rsyslog with TLS"
start_rsyslog server
expect_match "takes 20,000 messages" "$(deliver "$folder/relp.toml" --count 20000 2>&1 | tee "$folder/rate")" \
  '^acknowledged 20000 refused 0'
sed 's/^/  /' "$folder/rate"
has() { (($(received) >= $1)); }
wait_for has 20000
expect "has each" "$(distinct)" 20000
expect "has each once" "$(received)" 20000

echo "hostile texts"
: >"$folder/received"
printf '%s\n' 'two\nlines' 'a ] and a " and a \\ and \\n' '\e[31mred\r' 'ünïcödé 😀' '<13>1 - - - - - -' >"$folder/hostile"
deliver "$folder/relp.toml" --count 5 --messages "$folder/hostile" >/dev/null
wait_for has 5
expect "each is one line" "$(received)" 5
expect "the text for people shows control characters" "$(grep -c 'two\\x0alines$' "$folder/received")" 1
python3 - "$folder/received" <<'END' >"$folder/messages"
import json, re, sys
for line in open(sys.argv[1], encoding="utf-8"):
    value = re.search(r' record="((?:[^"\\\]]|\\.)*)"\]', line).group(1)
    print(repr(json.loads(re.sub(r'\\(["\\\]])', r'\1', value))["message"]))
END
expect "the record has each as it was" "$(sort "$folder/messages")" "$(sort <<'END'
'two\nlines'
'a ] and a " and a \\ and \\n'
'\x1b[31mred\r'
'ünïcödé 😀'
'<13>1 - - - - - -'
END
)"

echo "an appliance that seals and redacts"
: >"$folder/received"
sealed "$folder/relp.toml" python3 "$here/received.py" relp "$folder/received" heads
expect "what it redacts comes again, blank" "$(python3 "$here/received.py" relp "$folder/received" redactions)" \
  '0123456789abcdef0123456789abcdef/event/1/redaction/2 [redacted] [redacted]'

echo "rsyslog killed and started again while messages come"
: >"$folder/received"
deliver "$folder/relp.toml" --count 60000 --batch 500 --seconds "$patience" >"$folder/killed.log" 2>&1 &
sender=$!
started+=("$sender")
for _ in 1 2 3; do
  sleep 0.7
  stop_rsyslog KILL
  sleep 0.3
  start_rsyslog server
done
wait "$sender" || true
expect_match "all are acknowledged" "$(tail -n 1 "$folder/killed.log")" '^acknowledged 60000 refused 0'
has_distinct() { (($(distinct) >= 60000)); }
wait_for has_distinct || true
expect "none is lost" "$(distinct)" 60000
echo "  $(($(received) - 60000)) came twice, which their keys tell"
stop_rsyslog

echo "servers that are not to be trusted"
for certificate in forged elsewhere expired; do
  start_rsyslog "$certificate"
  case $certificate in
    forged) why='(self-signed certificate|unable to get local issuer certificate)' ;;
    elsewhere) why='no alternative certificate subject name matches target host name .localhost.' ;;
    expired) why='certificate has expired' ;;
  esac
  : >"$folder/received"
  expect_match "the certificate '$certificate' is refused" "$(deliver "$folder/relp.toml" 2>&1)" "$why"
  expect "nothing was sent" "$(received)" 0
  stop_rsyslog
done
verdict
