#!/usr/bin/env bash
# sysroot.sh DEBIAN_PROCESSOR FOLDER: unpacks into FOLDER the Debian packages of a processor that the build and the tests
# need, unless they are there. Runs nothing of them, and does not change the machine.
set -euo pipefail
processor=$1 folder=$2
# The packages that ./dev installs to build, if they are compiled for a processor or read by the compiler.
libraries=$(sed -n '/^readonly BUILD_PACKAGES=(/,/)/p' "$(dirname "$0")/../../dev" | grep -oE '[a-z0-9+.-]+-dev' | paste -sd, -)
readonly PACKAGES=libc6-dev,libc-bin,libstdc++-12-dev,$libraries

[[ $(cat "$folder/complete" 2>/dev/null) != "$PACKAGES" ]] || exit 0
rm -rf "$folder"
mkdir -p "$folder"
# Only the release: its security updates do not cover every processor.
mmdebstrap --quiet --variant=extract --architectures="$processor" --include="$PACKAGES" bookworm "$folder" \
  'deb http://deb.debian.org/debian bookworm main'
# Absolute links would lead into the machine.
find "$folder" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
  ln -sfnr "$folder$(readlink "$link")" "$link"
done
echo "$PACKAGES" >"$folder/complete"
