#!/usr/bin/env bash
# check.sh PACKAGES: installs the packages of a folder on bare Debian systems, uses them there from C, C++ and CMake and
# by hand, upgrades them with logs in place, gives them an appliance's own platform libraries, and removes them. Needs
# root. Does not change the machine: the systems are folders, each deleted after its test.
# shellcheck disable=SC2016 # for dpkg and for inner shells
set -euo pipefail
here=$(dirname "$(realpath "$0")")
packages=$(realpath "$1")
readonly ROOTS=$here/../build/roots
readonly MIRROR='deb http://deb.debian.org/debian bookworm main'
readonly LOGS='event conn notice'

say() { printf '\n\033[1m%s\033[0m\n' "$*" >&2; }
fail() {
  printf 'packages-check: %s\n' "$*" >&2
  exit 1
}

# The parts below run in a mount namespace of their own.
if [[ ${ANNAL_CHECK_NAMESPACE:-} != yes ]]; then
  ANNAL_CHECK_NAMESPACE=yes exec unshare --mount --propagation private bash "$0" "$@"
fi

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
# The files of the system, except those that every installation writes.
listed() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./packages -o -path ./tests -o -path ./tmp -o -path ./previous \
    -o -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./run \
    -o -path ./etc/ld.so.cache -o -path ./etc/resolv.conf \) -prune -o ! -type d -printf '%P %M %u %g %s %l\n' -o \
    -printf '%P %M %u %g\n' | sort)
}
same() { # WHAT EXPECTED FOUND
  [[ $2 == "$3" ]] || {
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") >&2 || true
    fail "$1"
  }
}
installed_of() { inside dpkg-query -W -f '${Package} ${db:Status-Status}\n' '*corix*' '*annal*' 2>/dev/null | sed -n 's/ installed$//p' | sort; }
listing() {
  local log
  for log in $LOGS; do
    inside annalctl "$log" list --all --json
  done
}

# The same packages as an older release: there was none before 2.0.0.
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

readonly OURS='annalctl libcorix-annal2 libcorix-annal-common libcorix-platform-stand-ins'
bare_system bare

say "Installing, using by hand, upgrading and removing"
system_from bare
make_previous
before=$(listed)
# shellcheck disable=SC2086,SC2046 # names
install $(files_of /previous $OURS python3-annal)
version=$(inside dpkg-query -W -f '${Version}' libcorix-annal2)
[[ $version == *~previous ]] || fail "the version before is $version"

same "the folder of the logs is for root and one group" "2750 root:adm" "$(stat -c '%a %U:%G' "$root/etc/logs")"
for log in $LOGS; do
  inside annalctl "$log" create
done
inside annalctl event add 'From before.' --type warning --user admin --ip 10.0.0.5
inside annalctl conn add /share --user admin --ip 10.0.0.5
inside annalctl notice add 'From before, too.'
logs=$(listing)
files=$(cd "$root/etc/logs" && sha256sum -- *)
grep -q 'From before.' <<<"$logs" || fail "nothing is in the logs"
same "a log belongs to the group of its folder" "root:adm" "$(stat -c %U:%G "$root/etc/logs/event.log")"
inside setpriv --reuid=nobody --regid=nogroup --clear-groups cat /etc/logs/event.log >/dev/null 2>&1 &&
  fail "every user may read the logs"
inside setpriv --reuid=nobody --regid=nogroup --groups=adm annalctl event list --json | grep -q 'From before.' ||
  fail "a member of the group may not read the logs"
inside setpriv --reuid=nobody --regid=nogroup --groups=adm annalctl event add 'By a reader.' >/dev/null 2>&1 &&
  fail "a member of the group may write the logs"

# shellcheck disable=SC2086,SC2046 # names
install $(files_of /packages $OURS python3-annal)
version=$(inside dpkg-query -W -f '${Version}' libcorix-annal2)
[[ $version != *~previous ]] || fail "the upgrade has changed nothing"
same "the upgrade leaves the logs' files as they are" "$files" "$(cd "$root/etc/logs" && sha256sum -- *)"
same "the logs are readable after the upgrade" "$logs" "$(listing)"
inside annalctl check >/dev/null || fail "the logs are not sound after the upgrade"
inside annalctl event add 'After the upgrade.'
chmod g-rx "$root/etc/logs"
# shellcheck disable=SC2086,SC2046 # names
install --allow-downgrades $(files_of /previous $OURS python3-annal)
inside annalctl event list --json | grep -q 'After the upgrade.' || fail "the version before cannot read the log"
same "who has set the folder's rights keeps them" "2700" "$(stat -c %a "$root/etc/logs")"

files=$(cd "$root/etc/logs" && sha256sum -- *)
# shellcheck disable=SC2046 # names
inside apt-get purge -q -y --auto-remove $(installed_of) >/dev/null 2>&1
same "packages are left" "" "$(installed_of)"
same "the logs are left" "$files" "$(cd "$root/etc/logs" && sha256sum -- *)"
rm -r "$root/etc/logs"
same "nothing but the logs is left" "$before" "$(listed)"

say "Removing without a log"
# shellcheck disable=SC2086,SC2046 # names
install $(files_of /packages $OURS python3-annal)
# shellcheck disable=SC2046 # names
inside apt-get purge -q -y --auto-remove $(installed_of) >/dev/null 2>&1
same "nothing is left, the empty folder neither" "$before" "$(listed)"

say "With an appliance's own platform libraries"
# shellcheck disable=SC2086,SC2046 # names
install $(files_of /packages $OURS)
device=$scratch/device
mkdir -p "$device/DEBIAN" "$device/usr/lib/corix"
cat >"$device/DEBIAN/control" <<'END'
Package: device-platform
Version: 1
Architecture: all
Maintainer: Corix_annal maintainers <annal@corix.example>
Provides: libcorix-platform
Conflicts: libcorix-platform
Replaces: libcorix-platform
Description: an appliance's own platform libraries, for a test
END
dpkg-deb --root-owner-group -b "$device" "$root/device-platform.deb" >/dev/null
install /device-platform.deb
same "they take the place of the stand-ins, and nothing else" "$(printf '%s\n' annalctl libcorix-annal-common libcorix-annal2)" \
  "$(installed_of)"

say "Used from C, C++ and CMake"
bare_system tools gcc g++ cmake make pkgconf
system_from tools
# shellcheck disable=SC2086,SC2046 # names
install $(files_of /packages $OURS libcorix-annal-dev python3-annal)
tests=$(sed -n 's/^Tests: //p' "$here/../debian/tests/control")
for test in $tests; do
  say "$test"
  inside "/tests/$test"
done

say "Used from CMake, from another folder"
# The build of the packages, installed as another packager would.
cmake --install "$packages/first/corix-annal/build/debian" --prefix "$root/opt/annal" >/dev/null
cmake --install "$packages/first/corix-annal/build/debian" --prefix "$root/opt/annal" --component stand-ins >/dev/null
inside /tests/from-cmake /opt/annal
say "The packages do what they are for"
