#!/usr/bin/env bash
# check.sh PROCESSOR LIBRARY: compares a built library with the recorded interface of release 2.0.0 for that
# processor (Debian's name), PROCESSOR.abi beside this script: every exported function and array, and every type that they
# need. Additions are fine; removals and changes are not.
# check.sh --record PROCESSOR LIBRARY HEADERS: records it instead, only for a new major release or processor.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
record=
if [[ $1 == --record ]]; then
  record=yes
  shift
fi
processor=$1 library=$2
recorded=$here/$processor.abi

if [[ -n $record ]]; then
  abidw --headers-dir "$3" --drop-private-types --exported-interfaces-only --no-corpus-path --no-comp-dir-path \
    --no-show-locs --out-file "$recorded" "$library"
  exit 0
fi
[[ -e $recorded ]] || {
  printf 'abi: no interface is recorded for %s; with the library of 2.0.0, packaging/abi/check.sh --record %s does it\n' \
    "$processor" "$processor" >&2
  exit 1
}
status=0
abidiff --no-added-syms --fail-no-debug-info "$recorded" "$library" || status=$?
((status == 0)) || cat >&2 <<END

abi: the library for $processor is not the one that programs were built for (abidiff: $status).
Within libCorix_annal.so.2 nothing that is exported is removed or changed: give back the function, array or layout named
above, and add what is new beside it, under a name of its own, as the _ex forms are. docs/compatibility.md lists what
may change.
END
exit "$status"
