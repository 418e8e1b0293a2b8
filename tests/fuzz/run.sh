#!/usr/bin/env bash
# run.sh BUILD SECONDS [TARGET...]: runs each target (all of them by default) for SECONDS, four at a time, on corpus/ and
# on the findings of earlier runs in BUILD. Prints a line for each target; a finding fails and says how to repeat it.
set -uo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
readonly here
readonly ALL=(addresses command_lines generator importers migration queries records salvage)
readonly AT_ONCE=4

usage() {
  printf 'usage: %s BUILD SECONDS [TARGET...]\ntargets: %s\n' "$0" "${ALL[*]}" >&2
  exit 2
}

if (($# < 2)) || [[ ! -d $1 || ! $2 =~ ^[1-9][0-9]*$ ]]; then
  usage
fi
build=$(cd "$1" && pwd)
seconds=$2
shift 2
targets=("${@:-${ALL[@]}}")
for target in "${targets[@]}"; do
  [[ " ${ALL[*]} " == *" $target "* ]] || usage
done

# SQLite allocates much and keeps little: shorter stack traces for allocations double the speed.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=8${ASAN_OPTIONS:+:$ASAN_OPTIONS}

# Prints the named statistic of a libFuzzer log.
statistic() { sed -n "s/^stat::$1: *//p" "$2"; }

run_generator() {
  nice -n 10 python3 "$here/generator.py" "$seconds"
}

run_target() {
  local target=$1 program=$build/bin/fuzz_$1 scratch=$build/corpus/$1 log=$build/fuzz_$1.log status=0
  local options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 -verbosity=1
    -artifact_prefix="$build/$target-")
  [[ -f $here/$target.dict ]] && options+=(-dict="$here/$target.dict")
  mkdir -p "$scratch"
  nice -n 10 "$program" "${options[@]}" "$scratch" "$here/corpus/$target" >"$log" 2>&1 || status=$?
  if ((status != 0)); then
    local input
    input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
    printf '%s: FAILED (%s); again: %s %s\n' "$target" "$log" "$program" "$input"
    return 1
  fi
  local coverage
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  printf '%s: %s runs, %s places covered, %s new inputs\n' "$target" "$(statistic number_of_executed_units "$log")" \
    "$coverage" "$(statistic new_units_added "$log")"
}

status=0
running=0
for target in "${targets[@]}"; do
  if ((running == AT_ONCE)); then
    wait -n || status=1
    running=$((running - 1))
  fi
  if [[ $target == generator ]]; then
    run_generator &
  else
    run_target "$target" &
  fi
  running=$((running + 1))
done
while ((running-- > 0)); do
  wait -n || status=1
done
exit "$status"
