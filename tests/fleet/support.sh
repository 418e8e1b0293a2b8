# shellcheck shell=bash
# What the tests with real servers share: a folder of their own, certificates, and the end of what they have started.
# Everything listens on loopback only.

PATH=$PATH:/usr/sbin  # where servers are, which not every user has
: "${ANNAL_BIN:=$PWD/build/release/bin}"
folder=$(mktemp -d /tmp/annal-fleet.XXXXXX)
chmod 755 "$folder"
started=()
failures=0
# How long a server or receiver may take to come back. A slow machine must not fail a test, so this only bounds
# how long a real failure takes.
patience=300

# What a failure elsewhere is understood from: the end of each log, which is all that its output leaves.
say_the_ends() {
  local file
  for file in "$folder"/*.log; do
    [[ -s $file ]] || continue
    echo "--- the end of ${file##*/}"
    tail -n 40 "$file" | cut -c 1-300
  done
  true
}

finish() {
  local status=$? process
  ((status == 0 && failures == 0)) || say_the_ends >&2
  for process in "${started[@]}"; do
    kill "$process" 2>/dev/null || true
  done
  for process in "${started[@]}"; do
    wait "$process" 2>/dev/null || true
  done
  if ((status != 0 || failures != 0)); then
    echo "what the servers said is in $folder" >&2
  else
    rm -rf "$folder"
  fi
}
trap finish EXIT

# begin COMMAND...: in the background; its process is in $!, and it ends with the test.
begin() {
  "$@" &
  started+=("$!")
}

# A port of loopback that is free now.
free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# wait_for COMMAND...: until the command succeeds.
wait_for() {
  local end=$((SECONDS + patience))
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS >= end)); then
      echo "gave up waiting for: $*" >&2
      return 1
    fi
    sleep 0.1
  done
}

listens() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# expect WHAT ACTUAL WANTED
expect() {
  if [[ $2 == "$3" ]]; then
    echo "  passed: $1"
  else
    echo "  FAILED: $1: '$2' instead of '$3'" >&2
    failures=$((failures + 1))
  fi
}

# expect_match WHAT ACTUAL EXPRESSION
expect_match() {
  if [[ $2 =~ $3 ]]; then
    echo "  passed: $1"
  else
    echo "  FAILED: $1: '$2' does not match '$3'" >&2
    failures=$((failures + 1))
  fi
}

verdict() {
  if ((failures != 0)); then
    echo "$failures failed" >&2
    exit 1
  fi
  echo "all passed"
}

# deliver CONFIGURATION OPTION...: through the sink, to standard output and error.
deliver() { "$ANNAL_BIN/deliver" "$@"; }

# sealed CONFIGURATION HEADS...: what sealed.sh prints for a sink's configuration.
sealed() {
  local configuration=$1 text
  shift
  mkdir -p "$folder/state"
  echo 0123456789abcdef0123456789abcdef >"$folder/machine-id"
  {
    printf 'state = "%s"\nmachine_id = "%s"\n[logs]\nconn = false\nnotice = false\n[sink.it]\n' \
      "$folder/state" "$folder/machine-id"
    cat "$configuration"
  } >"$folder/sealed.toml"
  text=$("$ANNAL_BIN/private-appliance" "${BASH_SOURCE[0]%/*}/sealed.sh" "$ANNAL_BIN" "$folder" "$folder/sealed.toml" "$@")
  expect "the heads of a log that is sealed arrive, and verify it" "$text" \
    $'heads: 2\nverified: 0\nanother chain: 2'
}

# certificates: in $folder/tls an authority, a server's certificate for localhost, one for another host, one that
# has expired, a client's, and another authority with a server's certificate of its own.
certificates() {
  local tls=$folder/tls
  mkdir -p "$tls"
  (
    cd "$tls" || exit
    for authority in authority stranger; do
      openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 10 -subj "/CN=test $authority" \
        -keyout "$authority.key" -out "$authority.pem" -addext 'keyUsage=critical,keyCertSign,cRLSign'
      mkdir "$authority.d"
      : >"$authority.d/index"
      printf '[ca]\ndefault_ca=a\n[a]\ndatabase=%s.d/index\nnew_certs_dir=%s.d\nrand_serial=yes\ndefault_md=sha256\npolicy=p\ncopy_extensions=copy\nunique_subject=no\n[p]\ncommonName=supplied\n' \
        "$authority" "$authority" >"$authority.cnf"
    done
    issue() {
      # issue NAME AUTHORITY HOST FROM UNTIL
      openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=$3" -addext "subjectAltName=DNS:$3" \
        -keyout "$1.key" -out "$1.csr"
      openssl ca -batch -notext -config "$2.cnf" -cert "$2.pem" -keyfile "$2.key" -in "$1.csr" -out "$1.pem" \
        -startdate "$4" -enddate "$5"
      chmod 600 "$1.key"
    }
    local now past future long_past
    now=$(date -u -d '-1 hour' +%Y%m%d%H%M%SZ)
    past=$(date -u -d '-1 minute' +%Y%m%d%H%M%SZ)
    future=$(date -u -d '+9 days' +%Y%m%d%H%M%SZ)
    long_past=$(date -u -d '-5 days' +%Y%m%d%H%M%SZ)
    issue server authority localhost "$now" "$future"
    issue elsewhere authority elsewhere.example "$now" "$future"
    issue expired authority localhost "$long_past" "$past"
    issue client authority appliance1 "$now" "$future"
    issue forged stranger localhost "$now" "$future"
  ) >"$folder/certificates.out" 2>&1
}
