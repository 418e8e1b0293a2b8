#!/usr/bin/env bash
# readme_example.sh README CC INCLUDE LIBRARIES APPLIANCE ANNALCTL: checks that the README's C example compiles without
# a warning, can run repeatedly, and stores its event each time.
set -euo pipefail
readme=$1 cc=$2 include=$3 libraries=$4 appliance=$5 annalctl=$6
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$(dirname "$0")/example_of.sh" "$readme" 1 >"$folder/example.c"
"$cc" -std=c99 -Wall -Wextra -pedantic -Werror -I "$include" "$folder/example.c" -o "$folder/example" \
  -L "$libraries" -lCorix_annal -Wl,-rpath,"$libraries"
# shellcheck disable=SC2016 # expanded by the inner shell, on the appliance
"$appliance" bash -euc '"$1"; "$1"; "$2" event list --json' - "$folder/example" "$annalctl" | tee "$folder/log"
[[ $(grep -c '"event_desc":"Volume 1 is nearly full."' "$folder/log") == 2 ]]
