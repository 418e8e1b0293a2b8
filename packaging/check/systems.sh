# shellcheck shell=bash
# For check.sh: Debian systems in folders, and throw-away copies of them. Wants $packages, the folder of our packages, and
# $here, that of the scripts.
# shellcheck disable=SC2016,SC2154 # for the inner shell; and what the caller sets
readonly ROOTS=$here/../build/roots
readonly MIRROR='deb http://deb.debian.org/debian bookworm main'

say() { printf '\n\033[1m%s\033[0m\n' "$*" >&2; }
fail() {
  printf 'packages-check: %s\n' "$*" >&2
  exit 1
}
same() { # WHAT EXPECTED FOUND
  [[ $2 == "$3" ]] || {
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || true
    fail "$1"
  }
}

# bare_system NAME [PACKAGE...]: creates a Debian system with only these packages, unless there is a fresh one.
bare_system() {
  local system=$ROOTS/$1
  if [[ -z $(find "$system/complete" -mtime -7 2>/dev/null) ]]; then
    say "Making a system: $1"
    rm -rf "$system"
    mkdir -p "$system"
    mmdebstrap --quiet --variant=minbase ${2:+--include="$(IFS=, && echo "${*:2}")"} \
      --customize-hook='printf "#!/bin/sh\nexit 101\n" >"$1/usr/sbin/policy-rc.d" && chmod 755 "$1/usr/sbin/policy-rc.d"' \
      --skip=cleanup/apt bookworm "$system" "$MIRROR"
    rm -rf "$system"/var/cache/apt/archives/*.deb
    touch "$system/complete"
  fi
}

# system_from NAME: a throw-away system over that one, at $root, with the packages in /packages.
root=
scratch=$(mktemp -d)
leave() {
  if [[ -n $root ]]; then
    umount --recursive "$scratch/top"
  fi
  root=
}
trap 'leave; rm -rf "$scratch"' EXIT
system_from() {
  leave
  mkdir -p "$scratch/top"
  mount -t tmpfs none "$scratch/top"
  mkdir "$scratch/top/"{upper,work,root}
  mount -t overlay none -o "lowerdir=$ROOTS/$1,upperdir=$scratch/top/upper,workdir=$scratch/top/work" "$scratch/top/root"
  root=$scratch/top/root
  mount -t proc none "$root/proc"
  mount --rbind /dev "$root/dev"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  mkdir -p "$root/packages" "$root/tests"
  mount --bind "$packages" "$root/packages"
  mount --bind "$here/../debian/tests" "$root/tests"
}

inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
install() { inside apt-get install -q -y --no-install-recommends "$@" >"$scratch/apt.log" 2>&1 || {
  cat "$scratch/apt.log" >&2
  fail "cannot install $*"
}; }
# Our packages with these names, from a folder inside.
files_of() {
  local folder=$1 name
  for name in "${@:2}"; do
    find "$root$folder" -maxdepth 1 -name "${name}_*.deb" -printf "$folder/%f\n"
  done
}
installed_of() { inside dpkg-query -W -f '${Package} ${db:Status-Status}\n' '*corix*' '*annal*' 2>/dev/null | sed -n 's/ installed$//p' | sort; }
purge_ours() {
  # shellcheck disable=SC2046 # names
  inside apt-get purge -q -y --auto-remove $(installed_of) >"$scratch/apt.log" 2>&1 || {
    cat "$scratch/apt.log" >&2
    fail "cannot purge the packages"
  }
  same "packages are left" "" "$(installed_of)"
}

# The files of the system, except those that every installation writes.
listed() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./packages -o -path ./tests -o -path ./tmp -o -path ./previous \
    -o -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./run \
    -o -path ./etc/ld.so.cache -o -path ./etc/resolv.conf \) -prune -o ! -type d -printf '%P %M %u %g %s %l\n' -o \
    -printf '%P %M %u %g\n' | sort)
}

# The same packages as an older release, in /previous: there was none before 2.0.0.
make_previous() {
  local package
  mkdir -p "$root/previous"
  for package in "$packages"/*.deb; do
    [[ $package != *-dbgsym_* ]] || continue
    rm -rf "$scratch/package"
    dpkg-deb -R "$package" "$scratch/package"
    sed -i -E 's/^(Version: .*)/\1~previous/; /^Depends:/s/(libcorix-annal2|libcorix-annal-common) \((>?=) ([^)]*)\)/\1 (\2 \3~previous)/g' \
      "$scratch/package/DEBIAN/control"
    dpkg-deb --root-owner-group -Zgzip -z1 -b "$scratch/package" "$root/previous/$(basename "$package")" >/dev/null
  done
}

# run_tests TEST...: tests of debian/tests, inside.
run_tests() {
  local test
  for test in "$@"; do
    say "$test"
    inside "/tests/$test" || fail "$test"
  done
}
