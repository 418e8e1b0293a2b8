#!/usr/bin/env bash
# example_of.sh DOCUMENT NUMBER [LANGUAGE]: prints a document's example with that number, counted from 1, in a language
# (C by default): the text between its lines "```c" and "```", without a list's indentation. In a header these are
# comment lines, without their " * ".
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
