#!/usr/bin/env bash
# import.sh FOLDER [--quick]: events a second that annalctl, of the build's FOLDER, and the sqlite3 shell store, the same
# rows in one table with its indexes and its trigger. The shell has them as statements, in one transaction; annalctl reads
# and checks lines, and ends a transaction every 1,000. Run it on an empty private appliance.
set -euo pipefail

bin=$1
sizes=(10000 100000)
[[ ${2:-} == --quick ]] && sizes=(2000)
readonly LOG=/etc/logs/event.log LINES=/etc/logs/lines ROWS=/etc/logs/rows.sql
readonly ROUNDS=3

# seconds COMMAND...: how long it takes.
seconds() {
  local begun=$EPOCHREALTIME
  "$@" >/dev/null
  echo "$EPOCHREALTIME $begun" | awk '{ printf "%.3f", $1 - $2 }'
}

empty_log() {
  rm -f "$LOG"
  "$bin/annalctl" event create --limit "$1"
}

by_shell() { sqlite3 "$LOG" <"$ROWS"; }

printf '| events into a log of that limit | annalctl, events/s | sqlite3, events/s | ratio of the times |\n|--:|--:|--:|--:|\n'
for size in "${sizes[@]}"; do
  awk -v size="$size" 'BEGIN {
    for (i = 0; i < size; ++i)
      printf "{\"event_type\":%d,\"event_user\":\"user%d\",\"event_ip\":\"10.0.%d.%d\",\"event_desc\":\"entry %d of a service\",\"event_timet\":%d,\"event_app_name\":\"app%d\"}\n",
        i % 3, i % 100, i / 250 % 250, i % 250, i, 1760000000 + i * 7, i % 20
  }' >"$LINES"
  empty_log "$size"
  "$bin/annalctl" event import "$LINES" >/dev/null
  { echo 'BEGIN;'; sqlite3 -cmd '.mode insert ANNAL_EVENT' "$LOG" 'SELECT * FROM ANNAL_EVENT'; echo 'COMMIT;'; } >"$ROWS"
  ours=()
  theirs=()
  for ((round = 0; round < ROUNDS; ++round)); do
    empty_log "$size"
    ours+=("$(seconds "$bin/annalctl" event import "$LINES")")
    empty_log "$size"
    theirs+=("$(seconds by_shell)")
  done
  printf '%s\n' "${ours[@]}" "${theirs[@]}" | awk -v size="$size" -v rounds="$ROUNDS" '
    NR <= rounds { ours = NR == 1 || $1 < ours ? $1 : ours; next }
    { theirs = NR == rounds + 1 || $1 < theirs ? $1 : theirs }
    END { printf "| %d | %d | %d | %.2f |\n", size, size / ours, size / theirs, ours / theirs }'
done
