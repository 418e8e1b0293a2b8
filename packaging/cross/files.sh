#!/usr/bin/env bash
# files.sh RELEASE BUILD library|tools COMMAND...: compares what this machine's RELEASE and another processor's BUILD write,
# and what each reads from the other's files, byte for byte. COMMAND is what runs a program of BUILD on a private appliance.
set -euo pipefail
release=$1 build=$2 what=$3
shift 3
logs=$build/logs/$what
rm -rf "$logs"
mkdir -p "$logs/here" "$logs/there"

here() { "$release/bin/private-appliance" packaging/cross/written.sh "$what" "$1" "$release" "$2"; }
there() { "${emulated[@]}" packaging/cross/written.sh "$what" "$1" "$build" "$2"; }
emulated=("$@")

here write "$logs/here" >"$logs/writing.txt" 2>&1 || { cat "$logs/writing.txt" && exit 1; }
there write "$logs/there" >"$logs/writing.txt" 2>&1 || { cat "$logs/writing.txt" && exit 1; }
for file in "$logs/here"/*; do
  cmp "$file" "$logs/there/${file##*/}"
done
here read "$logs/here" >"$logs/here.txt"
here read "$logs/there" >"$logs/theirs-read-here.txt"
there read "$logs/here" >"$logs/ours-read-there.txt"
cmp "$logs/here.txt" "$logs/theirs-read-here.txt"
cmp "$logs/here.txt" "$logs/ours-read-there.txt"
printf '%s: %s files are equal, and %s lines read from them\n' "$what" "$(find "$logs/here" -type f | wc -l)" \
  "$(wc -l <"$logs/here.txt")"
