#!/usr/bin/env bash
# build.sh SOURCE RESULTS: builds a source folder's Debian packages into another folder, checks them with lintian, and
# builds them again elsewhere, in a different environment, to check that they are equal byte for byte.
# build.sh --quick SOURCE RESULTS: in half the time, without debugging information, little optimized, and the second time
# the library's packages alone.
# build.sh --once SOURCE RESULTS leaves out the second build and lintian.
set -euo pipefail

# A cache that shortens paths would change those in the debugging information.
unset CCACHE_BASEDIR CCACHE_NOHASHDIR

once='' profiles=''
case $1 in
  --once)
    once=yes
    shift
    ;;
  --quick)
    profiles=pkg.corix-annal.nocli
    export DEB_CFLAGS_APPEND='-g0 -O1' DEB_CXXFLAGS_APPEND='-g0 -O1' DEB_BUILD_OPTIONS=noautodbgsym
    shift
    ;;
esac
source=$(realpath "$1") results=$2
mkdir -p "$results"
results=$(realpath "$results")

say() { printf '\n\033[1m%s\033[0m\n' "$*" >&2; }

# copy_source TO: the source without build results, all with one time, whenever it was checked out.
copy_source() {
  mkdir -p "$1"
  if git -C "$source" rev-parse --git-dir >/dev/null 2>&1; then
    git -C "$source" ls-files -z --cached --others --exclude-standard
  else
    (cd "$source" && find . -path ./build -prune -o -type f -print0)
  fi | (cd "$source" && while IFS= read -r -d '' file; do [[ ! -e $file ]] || printf '%s\0' "$file"; done) |
    tar -C "$source" --null -T - -c | tar -C "$1" --no-same-permissions -x
}

# build_in FOLDER: the folder's source into the folder above it.
build_in() {
  (cd "$1" && dpkg-buildpackage --no-sign -F >../log 2>&1) || {
    tail -n 40 "$1/../log" >&2
    return 1
  }
}

# The packages that ./dev installs to build are those that Debian's builders need, except for the tests' own and those
# that every builder has.
for package in $(sed -n '/^readonly BUILD_PACKAGES=(/,/)/p' "$source/dev" | tr -d '()' | sed 's/.*=//'); do
  grep -qE "^ $package( |:|,)|^(g\+\+|libgtest-dev|libgmock-dev|openssl|sqlite3)\$" "$source/debian/control" - <<<"$package" || {
    printf 'packages: debian/control does not ask for %s\n' "$package" >&2
    exit 1
  }
done

rm -rf "${results:?}"/*
say "Building the packages"
copy_source "$results/first/corix-annal"
# Copies both now: the source may change during the build.
again=$results/second/in/a/folder/elsewhere
[[ -n $once ]] || copy_source "$again/corix-annal"
(umask 022 && build_in "$results/first/corix-annal")
find "$results/first" -maxdepth 1 -type f ! -name log -exec cp -t "$results" {} +
[[ -z $once ]] || exit 0

# A path to the build's own library is removed on installation, and leaves a gap of its length.
paths=$(find "$results/first/corix-annal/build/debian" -type f -executable -exec readelf -dW {} + 2>/dev/null |
  grep -E '(RUNPATH|RPATH).*\[/' || true)
[[ -z $paths ]] || {
  printf 'packages: programs have the path of their build, so packages built elsewhere differ:\n%s\n' "$paths" >&2
  exit 1
}

say "lintian"
lintian --pedantic --fail-on error,warning,pedantic "$results"/*.changes

say "Building them again"
# Without the first build's cached results.
(umask 002 && export TZ=Pacific/Kiritimati LC_ALL=C HOME=/nonexistent CCACHE_DISABLE=1 DEB_BUILD_PROFILES=$profiles &&
  build_in "$again/corix-annal")

status=0 compared=0
for package in "$results"/*.deb "$results"/*.dsc "$results"/*.tar.*; do
  [[ -z $profiles || -e $again/${package##*/} ]] || continue
  compared=$((compared + 1))
  if ! cmp "$package" "$again/${package##*/}"; then
    status=1
    ! command -v diffoscope >/dev/null || diffoscope --max-report-size 20000 "$package" "$again/${package##*/}" || true
  fi
done
((status == 0)) || {
  printf 'packages: two builds of the same source differ\n' >&2
  exit 1
}
((compared > 6)) || {
  printf 'packages: only %s files to compare\n' "$compared" >&2
  exit 1
}
rm -rf "$results/second"
say "$compared files are equal byte for byte. All, in $results:"
(cd "$results" && ls -sh -- *.deb)
