#!/usr/bin/env bash
# example_of.sh DOCUMENT NUMBER [LANGUAGE]: prints the example of that number, counted from 1, in a language (C, if none
# is named) of a document: what stands between its lines "```c" and "```". In a header these are lines of a comment,
# whose " * " is taken away, and in a list they are indented, which is taken away too.
set -euo pipefail
document=$1 number=$2 language=${3:-c}
comment='^$'
[[ $document != *.h && $document != *.hpp ]] || comment='^ \\*( |$)'
# shellcheck disable=SC2016 # awk's, and a fence
awk -v number="$number" -v comment="$comment" -v opening="\`\`\`$language" '
  { sub(comment, ""); text = $0; sub(/^ */, "", text) }
  text == opening && !open { open = 1; inside = ++found == number; indent = length($0) - length(text); next }
  text ~ /^```[a-z]+$/ { open = 1; next }
  text == "```" { open = !open; inside = 0; next }
  inside { print substr($0, indent + 1); ++lines }
  END { exit lines == 0 }' "$document"
