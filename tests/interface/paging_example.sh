#!/usr/bin/env bash
# paging_example.sh HEADER CALLER CC LIBRARIES APPLIANCE: the header's example of listing by pages compiles without a
# warning, and lists each entry once and in order while CALLER changes the log between the pages.
set -euo pipefail
header=$1 caller=$2 cc=$3 libraries=$4 appliance=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$(dirname "$0")/example_of.sh" "$header" 1 >"$folder/example.inc"
grep -q 'annal_event_query' "$folder/example.inc"
"$cc" -std=c99 -Wall -Wextra -pedantic -Werror -I "$(dirname "$header")" -I "$folder" "$caller" -o "$folder/caller" \
  -L "$libraries" -lCorix_annal -lsqlite3 -Wl,-rpath,"$libraries"
"$appliance" "$folder/caller"
