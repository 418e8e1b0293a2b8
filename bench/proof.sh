#!/usr/bin/env bash
# proof.sh BIN [ENTRIES]: how fast a log of events is sealed and verified, and how much its chain takes.
# BIN is the build's folder of programs; without ENTRIES it is a million.
set -euo pipefail

readonly bin=$1 entries=${2:-1000000}
if [[ -z ${PROOF_APPLIANCE:-} ]]; then
  PROOF_APPLIANCE=1 exec "$bin/private-appliance" bash "$0" "$@"
fi
export PATH=$bin:$PATH ANNAL_SEAL_KEY=/etc/logs/keys/seal.key
readonly log=/etc/logs/event.log

# Without its trigger while it is filled: that counts all entries for each.
annalctl event create --limit $((entries * 2))
trigger=$(sqlite3 "$log" "SELECT sql FROM sqlite_master WHERE type = 'trigger'")
sqlite3 "$log" "
  DROP TRIGGER annal_event_logfull;
  WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < $entries)
  INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid,
                           event_timet, event_app_id, event_app_name, event_category_id, event_category)
  SELECT i % 3, date(1790000000 + i, 'unixepoch'), time(1790000000 + i, 'unixepoch'), 'user' || (i % 50),
         '192.0.2.' || (i % 250), 'host' || (i % 20), 'Volume ' || (i % 7) || ' of pool ' || i || ' was checked and is in order.',
         '0', 1790000000 + i, 'A' || (i % 30), 'Storage', 'C1', 'Volume'
  FROM n;
  $trigger;"

# timed NAME COMMAND...: the seconds it takes, those of the processor, and entries a second of either.
timed() {
  local name=$1 times
  shift
  TIMEFORMAT='%R %U %S'
  times=$({ time "$@" >/dev/null 2>&1; } 2>&1)
  awk -v name="$name" -v times="$times" -v entries="$entries" 'BEGIN {
    split(times, t, " ")
    work = t[2] + t[3]
    printf "%-28s %7.2f s %9.0f/s   processor %7.2f s %9.0f/s\n", name, t[1], entries / t[1], work, entries / work
  }'
}

timed 'reading all by sqlite3' sqlite3 "$log" 'SELECT sum(length(event_desc)) FROM ANNAL_EVENT NOT INDEXED'
timed 'seal' annalctl seal event
timed 'verify' annalctl verify event
timed 'seal, with nothing new' annalctl seal event
awk -v bytes="$(stat -c %s "$log.chain")" -v entries="$entries" \
  'BEGIN { printf "%-28s %8.2f bytes an entry\n", "the chain", bytes / entries }'
