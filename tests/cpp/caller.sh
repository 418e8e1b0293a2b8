#!/usr/bin/env bash
# caller.sh CXX SOURCE INCLUDE LIBRARIES APPLIANCE OPTION...: a program that uses the header for C++ compiles with these
# options and without a warning, links with the library alone, and does what it expects of it.
set -euo pipefail
cxx=$1 source=$2 include=$3 libraries=$4 appliance=$5
shift 5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$cxx" "$@" -O1 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I "$include" "$source" -o "$folder/caller" \
  -L "$libraries" -lCorix_annal -Wl,-rpath,"$libraries"
"$appliance" "$folder/caller"
