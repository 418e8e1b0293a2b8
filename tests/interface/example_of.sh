#!/usr/bin/env bash
# example_of.sh DOCUMENT NUMBER: prints the C example of that number, counted from 1, of a document: what stands between
# its lines "```c" and "```". In a header these are lines of a comment, whose " * " is taken away.
set -euo pipefail
document=$1 number=$2
comment='^$'
[[ $document != *.h ]] || comment='^ \\*( |$)'
# shellcheck disable=SC2016 # awk's, and a fence
awk -v number="$number" -v comment="$comment" '
  { sub(comment, "") }
  /^```c$/ { inside = ++found == number; next }
  /^```$/ { inside = 0 }
  inside { print; ++lines }
  END { exit lines == 0 }' "$document"
