#!/usr/bin/env bash
# run.sh FOLDER [--quick]: runs every benchmark in the build's FOLDER, each on an empty private appliance, and writes
# one document to standard output. ./dev bench and ./dev bench-quick call it.
set -euo pipefail

bin=$(realpath "$1")
quick=${2:-}
status=0

readonly TIMES='| microseconds | ours p50 | p99 | max | other p50 | p99 | max | ratio |
|---|--:|--:|--:|--:|--:|--:|--:|'
readonly COUNTS='| thousands of instructions | ours | other | ratio |
|---|--:|--:|--:|'

# section TITLE [HEAD OF ITS TABLE]
section() { printf '\n## %s\n%s' "$1" "${2:+$'\n'$2$'\n'}"; }

# If a benchmark fails or its two sides did different work, the others still run; the exit status reports it.
bench() {
  local program=$1
  shift
  if [[ ! -x $bin/$program ]]; then
    printf '  %s is not built: what it measures against is not installed\n' "$program" >&2
    return
  fi
  "$bin/private-appliance" env "PATH=$bin:$PATH" "$bin/$program" ${quick:+"$quick"} "$@" || status=1
}

printf 'Measured on %s: %s cores, Linux %s, SQLite %s.\n' "$(date -u +%F)" "$(nproc)" "$(uname -r | cut -d- -f1)" \
  "$(dpkg-query -W -f '${Version}' libsqlite3-0)"
section 'Beside bare SQLite: time' "$TIMES"
bench floor_bench
section 'Beside bare SQLite: instructions' "$COUNTS"
bench floor_bench --instructions
section 'The header for C++, beside the same calls in C' "$COUNTS"
bench cpp_bench
section "By the caller's memory" "$TIMES"
bench caller_bench
section 'Beside a logging library' "$TIMES"
bench poco_bench
section 'Beside the system journal' "$TIMES"
if [[ -x /lib/systemd/systemd-journal-remote ]]; then
  bench journal_bench
else
  printf '  the journal is not installed\n' >&2
fi
section 'Loading the library' "$TIMES"
bench carry_bench
section 'Writers at once, and batches'
bench writers_bench
section 'Importing'
if command -v sqlite3 >/dev/null; then
  "$bin/private-appliance" "$(dirname "$(realpath "$0")")/import.sh" "$bin" ${quick:+"$quick"} || status=1
else
  printf '  the sqlite3 shell is not installed\n' >&2
fi
section 'Growth with rows'
bench growth_bench
exit "$status"
