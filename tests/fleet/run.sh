#!/usr/bin/env bash
# run.sh BUILD [KILLS]: every receiver with its real server, and kills on the whole way to a database.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$1" && pwd)
kills=${2:-12}
failed=()

if (($# < 2)); then
  for server in streams postgresql otlp relp rsyslog; do
    printf '\n\033[1m%s\033[0m\n' "$server"
    "$here/$server.sh" "$build/bin" || failed+=("$server")
  done
fi

printf '\n\033[1m%s kills\033[0m\n' "$kills"
# An appliance has folders of its own in place of the machine's /usr/sbin.
servers=$(mktemp -d)
trap 'rm -rf "$servers"' EXIT
cp "$(PATH=$PATH:/usr/sbin command -v nats-server)" "$servers/"
"$build/bin/private-appliance" env "PYTHONPATH=$here/../../python" "ANNAL_LIBRARY=$build/libCorix_annal.so.2" \
  /usr/bin/python3 "$here/kills.py" "$build/bin" "$servers/nats-server" --kills "$kills" || failed+=(kills)

if ((${#failed[@]})); then
  echo "failed: ${failed[*]}" >&2
  exit 1
fi
