#!/usr/bin/env bash
# check.sh FOLDER: whether mandoc and man have anything to say about the pages in a folder.
set -euo pipefail
cd "$1"
status=0
pages=()
for page in *.[1357]; do
  # One that only leads to another is not for mandoc.
  [[ $(head -c 4 "$page") == '.so ' ]] || pages+=("$page")
done
((${#pages[@]} > 10)) || { printf 'man-check: there are only %s pages\n' "${#pages[@]}" >&2; exit 1; }
mandoc -T lint -W warning "${pages[@]}" || status=1
for page in "${pages[@]}"; do
  said=$(MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -l "$page" 2>&1 >/dev/null)
  if [[ $said ]]; then
    printf '%s: %s\n' "$page" "$said" >&2
    status=1
  fi
done
for alias in *.3; do
  target=$(sed -n 's/^\.so man3\///p' "$alias")
  [[ -z $target || -f $target ]] || { printf '%s leads nowhere\n' "$alias" >&2; status=1; }
done
((status == 0)) && printf '%s pages, and nothing to say about them\n' "${#pages[@]}"
exit "$status"
