#!/usr/bin/env bash
# run.sh BUILD [all | quick | KILLS]: every receiver with its real server, and kills on the whole way to a database; or
# JetStream and PostgreSQL with three kills, in minutes; or kills alone.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$1" && pwd)
case ${2:-all} in
  all) servers=(streams postgresql otlp relp rsyslog) kills=12 ;;
  quick) servers=(streams postgresql) kills=3 ;;
  *) servers=() kills=$2 ;;
esac
failed=()

for server in "${servers[@]}"; do
  printf '\n\033[1m%s\033[0m\n' "$server"
  "$here/$server.sh" "$build/bin" || failed+=("$server")
done

printf '\n\033[1m%s kills\033[0m\n' "$kills"
# An appliance has folders of its own in place of the machine's /usr/sbin.
programs=$(mktemp -d)
trap 'rm -rf "$programs"' EXIT
cp "$(PATH=$PATH:/usr/sbin command -v nats-server)" "$programs/"
"$build/bin/private-appliance" env "PYTHONPATH=$here/../../python" "ANNAL_LIBRARY=$build/libCorix_annal.so.2" \
  /usr/bin/python3 "$here/kills.py" "$build/bin" "$programs/nats-server" --kills "$kills" || failed+=(kills)

if ((${#failed[@]})); then
  echo "failed: ${failed[*]}" >&2
  exit 1
fi
