#!/usr/bin/env bash
# check.sh [--quick] PACKAGES: installs the packages of a folder on bare Debian systems, uses each of them there, by hand
# and from C, C++, CMake and Python, upgrades them with logs in place, starts their units, gives them an appliance's own
# platform libraries, and removes them. --quick leaves out the platform libraries and what needs a compiler. Needs root.
# Does not change the machine: the systems are folders, and their throw-away copies are deleted after each test.
set -euo pipefail
here=$(dirname "$(realpath "$0")")

# The parts below run in a mount namespace of their own.
if [[ ${ANNAL_CHECK_NAMESPACE:-} != yes ]]; then
  ANNAL_CHECK_NAMESPACE=yes exec unshare --mount --propagation private bash "$0" "$@"
fi

quick=
if [[ $1 == --quick ]]; then
  quick=yes
  shift
fi
packages=$(realpath "$1")
# shellcheck source=packaging/check/systems.sh
. "$here/check/systems.sh"
readonly LOGS='event conn notice'
# Of debian/tests, those that need no compiler.
readonly BY_HAND=(by-hand by-export by-collect by-web from-python)
readonly LIBRARY=(annalctl libcorix-annal2 libcorix-annal-common libcorix-platform-stand-ins)
readonly OURS=("${LIBRARY[@]}" annal-export annal-collect annal-web python3-annal)
# install_ours FOLDER NAME...: our packages with these names, from a folder inside.
install_ours() {
  local files
  mapfile -t files < <(files_of "$@")
  install --allow-downgrades "${files[@]}"
}
listing() {
  local log
  for log in $LOGS; do
    inside annalctl "$log" list --all --json
  done
}
sums() { (cd "$root/etc/logs" && sha256sum -- *); }
# shellcheck disable=SC2016 # dpkg's
version() { inside dpkg-query -W -f '${Version}' libcorix-annal2; }
# What a script gets that the exporter has not sent it before. The positions are the service's.
newly_sent() { inside annal-export --once | sed -n 's/.*"message":"\([^"]*\)".*/\1/p'; }

say "Components of cmake --install"
"$here/check/components.sh" "$packages/first/corix-annal/build/debian" "$packages" "$here/../README.md"

# The quick check has only one system, with a boot.
first=bare booted=(systemd systemd-sysv dbus)
if [[ -n $quick ]]; then
  first=booted
  bare_system booted "${booted[@]}"
else
  bare_system bare
fi

say "Installing, using by hand, upgrading and removing"
system_from "$first"
make_previous
before=$(listed)
install_ours /previous "${OURS[@]}"
[[ $(version) == *~previous ]] || fail "the version before is $(version)"

same "the folder of the logs is for root and one group" "2750 root:adm" "$(stat -c '%a %U:%G' "$root/etc/logs")"
for log in $LOGS; do
  inside annalctl "$log" create
done
inside annalctl event add 'From before.' --type warning --user admin --ip 10.0.0.5
inside annalctl conn add /share --user admin --ip 10.0.0.5
inside annalctl notice add 'From before, too.'
inside mkdir -p /var/lib/annal-export
# A system that has never been booted has no identity.
echo 0123456789abcdef0123456789abcdef >"$root/tmp/identity"
printf 'machine_id = "/tmp/identity"\n[sink.out]\ntype = "stdout"\n' >"$root/etc/annal-export.toml"
same "each entry is sent" "$(printf '%s\n' 'From before, too.' 'From before.')" "$(newly_sent | grep From | sort)"
logs=$(listing)
stored=$(sums)
grep -q 'From before.' <<<"$logs" || fail "nothing is in the logs"
same "a log belongs to the group of its folder" "root:adm" "$(stat -c %U:%G "$root/etc/logs/event.log")"
inside setpriv --reuid=nobody --regid=nogroup --clear-groups cat /etc/logs/event.log >/dev/null 2>&1 &&
  fail "every user may read the logs"
inside setpriv --reuid=nobody --regid=nogroup --groups=adm annalctl event list --json | grep -q 'From before.' ||
  fail "a member of the group may not read the logs"
inside setpriv --reuid=nobody --regid=nogroup --groups=adm annalctl event add 'By a reader.' >/dev/null 2>&1 &&
  fail "a member of the group may write the logs"

install_ours /packages "${OURS[@]}"
[[ $(version) != *~previous ]] || fail "the upgrade has changed nothing"
same "the upgrade leaves the logs' files as they are" "$stored" "$(sums)"
same "the logs are readable after the upgrade" "$logs" "$(listing)"
inside annalctl check >/dev/null || fail "the logs are not sound after the upgrade"
inside annalctl event add 'After the upgrade.'
same "the upgraded exporter continues where it was" 'After the upgrade.' "$(newly_sent)"
run_tests "${BY_HAND[@]}"
chmod g-rx "$root/etc/logs"
install_ours /previous "${OURS[@]}"
inside annalctl event list --all --json | grep -q 'After the upgrade.' || fail "the version before cannot read the log"
same "the exporter of the version before knows its positions" '' "$(newly_sent | grep upgrade)"
same "who has set the folder's rights keeps them" "2700" "$(stat -c %a "$root/etc/logs")"

stored=$(sums)
purge_ours
same "the logs are left" "$stored" "$(sums)"
[[ -s $root/etc/annal/seal.key && -s $root/etc/annal/seal.pub ]] || fail "the key of logs that are sealed is gone"
rm -r "$root/etc/logs" "$root/etc/annal" "$root/etc/annal-export.toml"
same "nothing but the logs is left" "$before" "$(listed)"

say "Removing without a log"
install_ours /packages "${OURS[@]}"
inside annalctl event create
inside annalctl seal event
rm "$root"/etc/logs/event.log*
purge_ours
same "nothing is left, neither the empty folder nor the key" "$before" "$(listed)"

say "Starting the units"
bare_system booted "${booted[@]}"
system_from booted
install_ours /packages "${OURS[@]}"
cp "$here/check/units.sh" "$root/check.sh"
printf '[Service]\nType=oneshot\nExecStart=/check.sh\nStandardOutput=file:/check.log\nStandardError=file:/check.log\n' \
  >"$root/etc/systemd/system/check.service"
umount --recursive "$root/dev" "$root/proc"
status=0
systemd-nspawn --quiet --directory "$root" --boot --register=no --keep-unit --private-network --console=pipe -- \
  systemd.unit=check.service systemd.show_status=no </dev/null >/dev/null 2>"$scratch/boot.log" || status=$?
if [[ -n $quick && ! -e $root/check.log ]]; then
  # Where systemd-nspawn may not run. Without --quick that is a failure.
  cat "$scratch/boot.log" >&2
  say "WARNING: no system can be booted here, so the units were not started"
else
  cat "$root/check.log" || cat "$scratch/boot.log"
  ((status == 0)) || fail "the units, in a booted system: status $status"
fi

[[ -z $quick ]] || {
  say "The packages do what they are for (without a compiler and a device's libraries: ./dev packages-check)"
  exit 0
}

say "With an appliance's own platform libraries"
system_from bare
install_ours /packages "${LIBRARY[@]}"
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

say "Used from C, C++, CMake and Python"
bare_system tools gcc g++ cmake make pkgconf
system_from tools
install_ours /packages "${OURS[@]}" libcorix-annal-dev
mapfile -t tests < <(sed -n 's/^Tests: //p' "$here/../debian/tests/control" | tr ' ' '\n')
run_tests "${tests[@]}"

say "Used from CMake, from another folder"
# The build of the packages, installed as another packager would.
DESTDIR=$root cmake --install "$packages/first/corix-annal/build/debian" --prefix /opt/annal >/dev/null
DESTDIR=$root cmake --install "$packages/first/corix-annal/build/debian" --prefix /opt/annal --component stand-ins >/dev/null
inside /tests/from-cmake /opt/annal
say "The packages do what they are for"
