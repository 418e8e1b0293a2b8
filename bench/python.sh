#!/usr/bin/env bash
# python.sh BUILD [--quick|--record]: what listing costs a program in Python, as a table on standard output, or in
# docs/python.md. ./dev bench-python calls it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=$(realpath "$1")
rounds=(100000:3 1000000:1)  # of so many events
[[ ${2:-} == --quick ]] && rounds=(100000:1)

measure() {
  printf '| events listed | rows | thousands a second | sqlite3 alone | MiB | sqlite3 alone |\n|---|--:|--:|--:|--:|--:|\n'
  local of
  for of in "${rounds[@]}"; do
    "$build/bin/private-appliance" env ANNAL_LIBRARY="$build/libCorix_annal.so.2" PYTHONPATH="$PWD/python" \
      /usr/bin/python3 bench/python_rows.py "${of%:*}" "${of#*:}"
  done
}

if [[ ${2:-} == --record ]]; then
  results=$(mktemp)
  trap 'rm -f "$results"' EXIT
  { printf '\n'; measure; printf '\n'; } | tee "$results"
  sed -i -e '/^<!-- python results -->$/,/^<!-- end of python results -->$/{//!d}' \
    -e "/^<!-- python results -->\$/r $results" docs/python.md
else
  measure
fi
