#!/usr/bin/env bash
# run.sh FOLDER [--quick]: every benchmark of the build's FOLDER, each on an empty private appliance, as one document on
# standard output. ./dev bench and ./dev bench-quick call it.
set -euo pipefail

bin=$(realpath "$1")
quick=${2:-}
status=0

# A benchmark that fails, or finds that its two sides did different work, is told of at the end; the others go on.
bench() {
  local program=$1
  shift
  if [[ ! -x $bin/$program ]]; then
    printf '  %s is not built: what it measures against is not installed\n' "$program" >&2
    return
  fi
  "$bin/private-appliance" env "PATH=$bin:$PATH" "$bin/$program" ${quick:+"$quick"} "$@" || status=1
}

printf 'Measured on %s: %s cores, Linux %s, SQLite %s.\n\n' "$(date -u +%F)" "$(nproc)" "$(uname -r | cut -d- -f1)" \
  "$(dpkg-query -W -f '${Version}' libsqlite3-0)"
printf '| microseconds a call | ours p50 | p99 | max | its p50 | p99 | max | ratio | at most |\n'
printf '|---|--:|--:|--:|--:|--:|--:|--:|--:|\n'
bench floor_bench
bench floor_bench --instructions
bench caller_bench
bench poco_bench
if [[ -x /lib/systemd/systemd-journal-remote ]]; then
  bench journal_bench
else
  printf '  the journal is not installed\n' >&2
fi
bench carry_bench
bench writers_bench
bench growth_bench
exit "$status"
