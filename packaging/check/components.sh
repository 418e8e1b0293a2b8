#!/usr/bin/env bash
# components.sh BUILD PACKAGES README: compares what "cmake --install" installs of each component with the content of its
# package, by the README's table, and what it installs without a component with what the README says.
set -euo pipefail
build=$1 packages=$2 readme=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() {
  printf 'components: %s\n' "$*" >&2
  exit 1
}
# The paths of the files below a folder. Packages compress pages and documents.
paths() { (cd "$1" && find . ! -type d -printf '/%P\n' | sed -E 's/^(.*\/(man|doc)\/.*)\.gz$/\1/' | sort); }
# installed TO [OPTION...]: what the build installs.
installed() {
  DESTDIR=$1 cmake --install "$build" "${@:2}" >/dev/null
  paths "$1"
}

declare -A component
while IFS='|' read -r _ package name _; do
  component[${package//[\` ]/}]=${name//[\` ]/}
done < <(sed -n '/^| Package | Component/,/^$/p' "$readme" | grep '^| `')

for deb in "$packages"/*.deb; do
  package=$(basename "${deb%%_*}")
  [[ $package != *-dbgsym ]] || continue
  name=${component[$package]:-}
  [[ -n $name ]] || fail "the README does not name the package $package"
  dpkg-deb -x "$deb" "$folder/$package"
  # What Debian's tools add, and the language's examples, which no component has.
  paths "$folder/$package" | grep -vE "^/usr/share/(lintian/|doc/$package/(copyright|changelog)$|doc/libcorix-annal-dev/examples/)" |
    grep -vE '^/usr/lib/python3/dist-packages/.*\.egg-info' >"$folder/packed" || true
  installed "$folder/component-$name" --component "$name" >"$folder/installed"
  diff "$folder/installed" "$folder/packed" >&2 || fail "the component $name is not the content of $package"
  [[ -s $folder/installed ]] || fail "the component $name is empty"
  printf '%s: %s files\n' "$package" "$(wc -l <"$folder/installed")"
  [[ $name == stand-ins || $name == python ]] || cat "$folder/installed" >>"$folder/every"
done
((${#component[@]} == $(find "$packages" -maxdepth 1 -name '*.deb' ! -name '*-dbgsym_*' | wc -l))) || fail "the README names other packages"
while IFS= read -r name; do
  [[ " ${component[*]} " == *" $name "* ]] || fail "no package has the component $name"
done < <(grep -rhoE --include=cmake_install.cmake 'CMAKE_INSTALL_COMPONENT STREQUAL "[^"]+"' "$build" | cut -d'"' -f2 | sort -u)

installed "$folder/all" >"$folder/installed"
sort "$folder/every" | diff "$folder/installed" - >&2 || fail "without a component, others are installed than the README says"
