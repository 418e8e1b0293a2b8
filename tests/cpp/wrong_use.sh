#!/usr/bin/env bash
# wrong_use.sh CXX SOURCE INCLUDE: the right uses of the header for C++ compile, and none of the wrong ones does.
set -euo pipefail
cxx=$1 source=$2 include=$3

compiles() { # USE [OPTION...]
  "$cxx" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I "$include" -DUSE="$1" "${@:2}" "$source"
}

failures=0
compiles 0 || failures=1
compiles 0 -fno-exceptions -fno-rtti || failures=$((failures + 1))
number=0
while read -r use what; do
  number=$((number + 1))
  options=()
  [[ $what != *"without exceptions"* ]] || options=(-fno-exceptions)
  if compiles "$use" "${options[@]}" 2>/dev/null; then
    printf 'compiles: %s\n' "$what"
    failures=$((failures + 1))
  fi
done < <(sed -n 's|^#elif USE == \([0-9]*\) *// |\1 |p' "$source")
[[ $number -gt 0 && $failures -eq 0 ]]
