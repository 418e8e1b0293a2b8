#!/usr/bin/env bash
# What the library is for, shown on a private appliance: ./dev demo runs this there, with annalctl on the PATH.
set -euo pipefail
shopt -s nullglob

folder=$(dirname "${BASH_SOURCE[0]}")
bold=$'\033[1m' dim=$'\033[2m' plain=$'\033[0m'
[[ -t 1 && -z ${NO_COLOR:-} ]] || bold='' dim='' plain=''

heading() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }
run() {
  local words='' word
  for word in "$@"; do
    [[ $word == *[!A-Za-z0-9_./:=-]* ]] && word="'$word'"
    words+=" $word"
  done
  printf '%s$%s%s\n' "$dim" "$words" "$plain"
  "$@"
}

[[ -n ${CORIX_PRIVATE_APPLIANCE:-} ]] || {
  echo "This fills and empties /etc/logs. Start it with ./dev demo, which gives it one of its own." >&2
  exit 1
}

heading "1. An empty appliance gets its event log: at most 50,000 entries, and the oldest 500 go when it is full"
run annalctl event create --limit 50000 --batch 500

heading "2. This machine's own package history becomes events"
histories=(/var/log/dpkg.log*)
if ((${#histories[@]})); then
  run annalctl event import "${histories[@]}"
else
  echo "(this machine has no /var/log/dpkg.log, so a few events are made up)"
  printf '2026-11-21 10:00:%02d status installed example%d:all 1.0\n' {1..40} | sed 's/:\([0-9]\) /:0\1 /' |
    run annalctl event import --format dpkg -
fi

heading "3. Something happens on the appliance: an intruder knocks, a disk fails"
for address in 203.0.113.7 203.0.113.7 ::ffff:203.0.113.7; do
  run annalctl event add "Failed to log in." --type warning --user admin --ip "$address" --app "Access"
done
run annalctl event add "Disk 3 has failed. The volume is degraded." --type error --app "Storage"

heading "4. The appliance's other log consumers have each been handed a copy of an event. What they received:"
export DEMO_RECEIVED=/usr/local/sbin/received
mkdir "$DEMO_RECEIVED"
for command in /usr/local/sbin/evsh /sbin/orcapro_log_tool /sbin/orcapro_conn_log_tool; do
  cp "$folder/command.sh" "$command"
done
LD_PRELOAD=$DEMO_CONSUMERS run annalctl event add 'Fan "rear" has stopped.' --type error --user system --app "Hardware"
for _ in {1..100}; do # some of them are started without being waited for
  received=("$DEMO_RECEIVED"/*)
  ((${#received[@]} < 6)) || break
  sleep 0.05
done
for consumer in "${received[@]}"; do
  printf '%s%s%s\n' "$bold" "${consumer##*/}" "$plain"
  cat "$consumer"
done

heading "5. The newest page, as a web page would ask for it"
run annalctl event list --limit 10

heading "6. How much of what"
for type in information warning error all; do
  run annalctl event count --type "$type"
done

heading "7. Who knocks? Warnings by address (::ffff:203.0.113.7 was stored as what it is)"
run annalctl event group --by ip --type warning --by-size --limit 5

heading "8. The busiest days"
run annalctl event group --by date --by-size --limit 7

heading "9. For programs: JSON Lines and CSV"
run annalctl event list --type error --limit 1 --json
run annalctl event list --type error --limit 1 --csv

heading "10. Keep the newest 1,000 and drop the rest"
run annalctl event trim 1000
run annalctl event count

heading "11. A notice for the users: stored in a list of its own, and sent by the notification command, which receives"
run annalctl notice create
run annalctl notice add "$(annalctl catalog fill A011 7 60)" --severity warning --facility System --title "Power"
run annalctl notice list
cp "$folder/command.sh" /usr/local/sbin/notify
run annalctl notify A011 7 60
sent="$DEMO_RECEIVED/7 notification command"
for _ in {1..100}; do
  [[ ! -e $sent ]] || break
  sleep 0.05
done
cat "$sent"

heading "12. A user of the web file manager copies a small tree, and each copy is an operation (action 4, say)"
operations=/etc/logs/operations.db
share=$(mktemp -d)
run annalctl fileop --db "$operations" create --limit 50000
cp -R "$folder" "$share/demo"
while IFS=$'\t' read -r -d '' kind size name; do
  [[ $kind == d ]] && is_folder=1 || is_folder=0
  annalctl fileop --db "$operations" add "$share/demo/$name" --old-path "$folder/$name" --action 4 --size "$size" \
    --folder "$is_folder" --user ann --ip 10.0.0.5 --computer "Ann's laptop"
done < <(find "$folder" -printf '%y\t%s\t%P\0')
rm -r "$share"
run annalctl fileop --db "$operations" count

heading "13. Where did that file come from? Found by a part of its path, in either case"
run annalctl fileop --db "$operations" list --path "DEMO/consumers.cc"

heading "14. Who logged in, and who only tried? The lines of an OpenSSH server become connections, names like SQL included"
run annalctl conn create
attempts() {
  local time outcome
  time=$(date +%Y-%m-%dT%H:%M:%S%:z)
  for outcome in "Accepted password for ann from 10.0.0.5" "Failed password for root from 203.0.113.7" \
    "Failed password for invalid user oracle from 203.0.113.7" "Failed password for root from 198.51.100.9" \
    "Failed password for invalid user x'); DROP TABLE ANNAL_CONN; -- from 203.0.113.7"; do
    echo "$time nas sshd[4711]: $outcome port 50022 ssh2"
  done
  echo "$time nas sshd[4711]: Connection closed by 203.0.113.7 port 50022 [preauth]"
}
attempts | run annalctl conn import -
run annalctl conn group --by ip --failed --since today --by-size

heading "15. The newest of them (without --no-follow each new one is shown when it is there)"
run annalctl conn tail --no-follow --lines 4

heading "16. Files that any SQLite tool can read"
run ls -l /etc/logs

cat <<END

${bold}What to try next${plain}
  ./dev appliance                     a shell on a private appliance: annalctl event --help
  ./dev appliance annalctl --help
  ./dev test                          every test of the library
  include/Corix_annal.h               every function, documented
END
