#!/usr/bin/env bash
# check.sh FOLDER [PAGE...]: whether mandoc and man have anything to say about the pages in a folder, and others; and
# whether the pages that the units refer to are among them.
set -euo pipefail
units=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../packaging")
others=()
(($# == 1)) || mapfile -t others < <(realpath "${@:2}")
cd "$1"
status=0
pages=()
for page in *.[1357]; do
  # One that only leads to another is not for mandoc.
  [[ $(head -c 4 "$page") == '.so ' ]] || pages+=("$page")
done
((${#pages[@]} > 10)) || { printf 'man-check: there are only %s pages\n' "${#pages[@]}" >&2; exit 1; }
pages+=("${others[@]}")
# Questions of style too, but for two: these pages are no operating system's own, and what other pages a machine has is
# not theirs to say.
said=$(mandoc -T lint -W style "${pages[@]}" 2>&1 | grep -vE 'operating system explicitly specified|outdated mandoc.db lacks') || true
if [[ $said ]]; then
  printf '%s\n' "$said" >&2
  status=1
fi
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
while IFS= read -r page; do
  [[ " ${pages[*]##*/} " == *" $page "* ]] || { printf 'a unit refers to %s, which is not there\n' "$page" >&2; status=1; }
done < <(grep -rhoP --include='*.service' --include='*.timer' '(?<=man:)[a-z-]+\([0-9]\)' "$units" | sed 's/(\(.\))/.\1/')
((status == 0)) && printf '%s pages, and nothing to say about them\n' "${#pages[@]}"
exit "$status"
