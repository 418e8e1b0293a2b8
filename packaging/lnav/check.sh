#!/usr/bin/env bash
# check.sh BIN: whether lnav takes the format, and shows of each log what annalctl does, also while it grows. To be run
# on a private appliance.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
export PATH=$1:$PATH HOME
HOME=$(mktemp -d)
trap 'rm -rf "$HOME"' EXIT
mkdir -p "$HOME/.config/lnav/formats/installed"
cp "$here/corix_annal.json" "$HOME/.config/lnav/formats/installed/"
lines=$HOME/lines.json

fail() {
  printf 'lnav-check: %s\n' "$*" >&2
  exit 1
}
same() { [[ $2 == "$3" ]] || fail "$1: lnav has '$3', annalctl '$2'"; }
of_lnav() { lnav -n -c ";$1" -c ':write-csv-to -' "$lines" | tail -n +2; }
wait_for() {
  for ((i = 0; i < 200; ++i)); do
    (($(wc -l <"$lines") >= $1)) && return
    sleep 0.05
  done
  fail "no $1 lines within ten seconds"
}

said=$(lnav -C 2>&1) || fail "it does not take the format: $said"
same "what it says of the format" "" "$said"

annalctl event create
annalctl conn create
annalctl notice create
annalctl fileop --db "$HOME/operations.db" create
for ((i = 0; i < 40; ++i)); do
  printf 'Nov 21 10:%02d:00 host sshd[%d]: Failed password for root from 10.0.0.%d port 22 ssh2\n' "$i" "$i" "$i"
  printf 'Nov 21 10:%02d:01 host sshd[%d]: Accepted password for ann from 10.0.0.%d port 22 ssh2\n' "$i" "$i" "$i"
done >"$HOME/auth.log"
annalctl event import "$HOME/auth.log" >/dev/null
annalctl conn import "$HOME/auth.log" >/dev/null
annalctl event add 'Fan 2 is slow.' --type warning
for severity in emergency alert critical error warning notice information debug; do
  annalctl notice add "$severity" --severity "$severity"
done
for type in information warning error; do
  annalctl fileop --db "$HOME/operations.db" add "/share/$type" --action 4 --type "$type"
done

# level_counts ANNALCTL...: "level count" lines, by what annalctl's rows say; emergency and alert are one level in lnav.
level_counts() {
  "$@" list --all --json | sed -E 's/.*"level":"([a-z]+)","log".*/\1/; s/^information$/info/; s/^(alert|emergency)$/fatal/' |
    sort | uniq -c | awk '{ print $2 "," $1 }'
}
for log in event conn notice "fileop --db $HOME/operations.db"; do
  read -ra words <<<"$log"
  annalctl "${words[@]}" list --all --oldest --json >"$lines"
  same "rows of $log" "$(annalctl "${words[@]}" count)" "$(of_lnav 'SELECT count(*) FROM corix_annal_log')"
  same "levels of $log" "$(level_counts annalctl "${words[@]}")" \
    "$(of_lnav 'SELECT log_level, count(*) FROM corix_annal_log GROUP BY log_level ORDER BY CAST(log_level AS TEXT)' | sort)"
done

# A log that is followed.
: >"$lines"
annalctl event tail --lines 0 --interval 0.1 --json >"$lines" &
tail=$!
sleep 0.5
annalctl event add 'Fan 3 failed.' --type error
wait_for 1
same "the first new row" 1 "$(of_lnav 'SELECT count(*) FROM corix_annal_log')"
annalctl event add 'Fan 4 failed.' --type error
wait_for 2
same "the next new row" 2 "$(of_lnav 'SELECT count(*) FROM corix_annal_log')"
kill "$tail"
wait "$tail" || true
printf 'lnav shows the rows and levels of all four logs\n'
