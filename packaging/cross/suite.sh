#!/usr/bin/env bash
# suite.sh BUILD PROGRAM FILTER UNFIT COMMAND...: runs those tests of another processor's program that a filter names, in as
# many parts as this machine has processors, and says how many passed. Leaves out UNFIT. COMMAND is what runs a program of
# BUILD on a private appliance.
set -euo pipefail
build=$1 program=$2 filter=$3 unfit=$4
shift 4
emulated=("$@") parts=$(nproc) status=0 running=()
# Requests queue for each program's file, which is the emulator's for both parts.
[[ $program != web ]] || parts=1

count() { "${emulated[@]}" "$build/bin/${program}_tests" --gtest_list_tests --gtest_filter="$1" | grep -c '^  ' || true; }
all=$(count "$filter")
[[ $filter == *-* ]] && filter+=:$unfit || filter+=-$unfit
chosen=$(count "$filter")
((chosen)) || { echo "no test of ${program}_tests is chosen" && exit 1; }

rm -f "$build/$program".*.txt
for ((part = 0; part < parts; ++part)); do
  GTEST_TOTAL_SHARDS=$parts GTEST_SHARD_INDEX=$part "${emulated[@]}" "$build/bin/${program}_tests" \
    --gtest_filter="$filter" >"$build/$program.$part.txt" 2>&1 &
  running+=($!)
done
for ((part = 0; part < parts; ++part)); do
  # The program's own words only if something failed, and not those on the tests that passed.
  wait "${running[part]}" || {
    status=1
    awk '/^\[ RUN / { run = $0 "\n"; next } !/^\[( +OK |-)/ { printf "%s%s\n", run, $0 } { run = "" } END { printf "%s", run }' \
      "$build/$program.$part.txt"
  }
done
passed=$(cat "$build/$program".*.txt | sed -n 's/^\[  PASSED  \] \([0-9]*\) test.*/\1/p' | paste -sd+)
printf '%s: %s of %s tests passed, %s left out\n' "$program" $((passed)) "$all" $((all - chosen))
exit "$status"
