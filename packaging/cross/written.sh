#!/usr/bin/env bash
# written.sh library|tools write|read BUILD FOLDER: on a private appliance. write: makes a log of each kind with the
# programs of BUILD, and copies them to FOLDER, sealed by annalctl for "tools". read: prints what the programs read from
# the logs in FOLDER and, for "tools", what annalctl makes of them. All of it is the same in every run of any build.
set -euo pipefail
what=$1 doing=$2 build=$3 folder=$4
export TZ=UTC LC_ALL=C
export ANNAL_SEAL_KEY=$folder/seal.key
readonly OPERATIONS=/etc/logs/fileop.log

annalctl() { LD_PRELOAD=$build/libsame_chance.so "$build/bin/annalctl" "$@"; }

# says STATUS ARGUMENT...: what annalctl prints, in the order in which it prints it.
says() {
  local expected=$1 status=0
  shift
  printf '\n$ annalctl %s\n' "$*"
  annalctl "$@" 2>&1 || status=$?
  ((status == expected)) || { echo "status $status instead of $expected" && exit 1; }
}

if [[ $doing == write ]]; then
  "$build/bin/written_logs" write "$OPERATIONS"
  if [[ $what == library ]]; then
    cp /etc/logs/*.log "$folder"
    exit
  fi
  # Enough for pages that only lead to others.
  annalctl event flush --yes
  annalctl event limit 5000
  {
    echo event_type,event_date,event_time,event_user,event_desc
    for ((n = 1; n <= 1500; ++n)); do
      printf '%s,2026-11-%02d,%02d:%02d:%02d,user%s,%s\n' $((n % 3)) $((1 + n / 60)) $((n % 24)) $((n % 60)) \
        $((n * 7 % 60)) $((n % 11)) "event $n with a text that is a little longer than most and fills pages: $((n * n))"
    done
  } >"$folder/events.csv"
  annalctl event import "$folder/events.csv"
  annalctl seal --heads "$folder/heads"
  annalctl seal --db "$OPERATIONS" --heads "$folder/heads"
  annalctl event delete --text 'event 77 '
  annalctl event redact --text 'event 100'
  annalctl seal --heads "$folder/heads"
  cp /etc/logs/*.log /etc/logs/*.chain "$folder"
  exit
fi

cp "$folder"/*.log /etc/logs
if [[ $what == library ]]; then
  "$build/bin/written_logs" list "$OPERATIONS"
  exit
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cp "$folder"/*.chain /etc/logs
cp "$folder"/{seal.pub,heads} .
proof=(--public-key seal.pub --anchor heads --json)
logs=(event conn notice "fileop --db $OPERATIONS")
for log in "${logs[@]}"; do
  read -ra log <<<"$log"
  says 0 "${log[@]}" list --all --json
  says 0 "${log[@]}" list --csv --sort user --limit 15
  says 0 "${log[@]}" group --by user
  says 0 "${log[@]}" check
done
says 0 event list --fold --json
says 0 event count --where 'event_id % 5 = 2'
says 0 log --all --json
says 0 verify "${proof[@]}"
says 0 verify --db "$OPERATIONS" "${proof[@]}"

# What a log prints makes the log again.
for log in "${logs[@]}"; do
  read -ra log <<<"$log"
  annalctl "${log[@]}" list --all --oldest --json >rows.jsonl
  annalctl "${log[@]}" flush --yes
  says 0 "${log[@]}" import rows.jsonl
done
says 0 seal
says 0 verify "${proof[@]}"
mkdir imported && cp /etc/logs/*.log /etc/logs/*.chain imported

# Damage: the starts of some pages.
cp "$folder"/*.log "$folder"/*.chain /etc/logs
for log in /etc/logs/*.log; do
  read -r high low < <(od -An -tu1 -j16 -N2 "$log")
  page=$((high * 256 + low)) size=$(stat -c %s "$log")
  for ((place = 2 * page; place < size; place += 5 * page)); do
    printf '%048d' 0 | dd of="$log" bs=1 seek="$place" conv=notrunc status=none
  done
done
for log in "${logs[@]}"; do
  read -ra log <<<"$log"
  says 1 "${log[@]}" check --json
  says 0 "${log[@]}" salvage --yes --json
  says 0 "${log[@]}" list --all --json
done
says 1 verify "${proof[@]}"
says 0 verify --db "$OPERATIONS" "${proof[@]}"
mkdir salvaged && cp /etc/logs/*.log salvaged
cd imported && sha256sum -- * && cd ../salvaged && sha256sum -- *
