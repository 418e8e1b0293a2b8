#!/usr/bin/env bash
# sysroot.sh DEBIAN_PROCESSOR FOLDER: unpacks into FOLDER what the build and the tests need of Debian for a processor,
# unless it is there. Nothing of it is run, and nothing of the machine is changed.
set -euo pipefail
processor=$1 folder=$2
# What ./dev installs to build, as far as it is compiled for a processor or read by the compiler.
libraries=$(sed -n '/^readonly BUILD_PACKAGES=(/,/)/p' "$(dirname "$0")/../../dev" | grep -oE '[a-z0-9+.-]+-dev' | paste -sd, -)
readonly PACKAGES=libc6-dev,libstdc++-12-dev,$libraries

[[ $(cat "$folder/complete" 2>/dev/null) != "$PACKAGES" ]] || exit 0
rm -rf "$folder"
mkdir -p "$folder"
# The release alone: its security updates are not made for every processor.
mmdebstrap --quiet --variant=extract --architectures="$processor" --include="$PACKAGES" bookworm "$folder" \
  'deb http://deb.debian.org/debian bookworm main'
# Links that begin at the root would lead into the machine.
find "$folder" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
  ln -sfnr "$folder$(readlink "$link")" "$link"
done
echo "$PACKAGES" >"$folder/complete"
