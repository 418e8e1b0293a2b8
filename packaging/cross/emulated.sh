#!/usr/bin/env bash
# emulated.sh QEMU_NAME SYSROOT COMMAND [ARGUMENT...]: runs a command where programs of another processor run, too, and
# so do those that they start. Registers the emulator in a user namespace of its own, which needs Linux 6.7, and lays the
# processor's libraries over the machine's in a mount namespace. The machine itself does not change.
set -euo pipefail

# The start of a program's file: 32 or 64 bits, the byte order, and the processor's number.
declare -rA MAGIC=(
  [aarch64]='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
  [arm]='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x28\x00'
  [s390x]='\x7fELF\x02\x02\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x16'
)
# Ignores the system's name, and whether a program is position-independent.
declare -rA MASK=(
  [aarch64]='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
  [arm]='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
  [s390x]='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff'
)

fail() {
  printf 'emulated: %s\n' "$*" >&2
  exit 125
}

# The second part: in the namespaces.
if [[ $1 == --inside ]]; then
  shift
  qemu=$1 sysroot=$2
  shift 2
  mount -t binfmt_misc none /proc/sys/fs/binfmt_misc || fail "no binfmt_misc in a user namespace: Linux 6.7 can"
  # F: opens the emulator now, so that it is found whatever is mounted later. P: a program keeps its own name.
  printf ':annal:M::%s:%s:/usr/bin/qemu-%s-static:FP' "${MAGIC[$qemu]}" "${MASK[$qemu]}" "$qemu" \
    >/proc/sys/fs/binfmt_misc/register
  mount -t overlay none -o "lowerdir=$sysroot/usr/lib:$sysroot/lib:/usr/lib" /usr/lib
  [[ ! -d $sysroot/lib64 ]] || mount -t overlay none -o "lowerdir=$sysroot/lib64:/usr/lib64" /usr/lib64
  # Programs start twice as fast as on the emulator's default, which has every extension.
  [[ $qemu != aarch64 ]] || export QEMU_CPU=cortex-a57
  exec "$@"
fi

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkfifo "$folder/mapped"
# Every user of the machine keeps its number, because some tests become another user. A process that starts before its
# user has a number has no rights.
# shellcheck disable=SC2016 # the inner shell's
unshare --user --mount --propagation private bash -c 'read -r _ <"$0"; exec "$@"' "$folder/mapped" \
  bash "$0" --inside "$@" <&0 &
child=$!
for ((waited = 0; waited < 100; ++waited)); do
  [[ $(readlink "/proc/$child/ns/user") == "$(readlink /proc/self/ns/user)" ]] || break
  sleep 0.1
done
if ((EUID == 0)); then
  cat /proc/self/uid_map >"/proc/$child/uid_map"
  cat /proc/self/gid_map >"/proc/$child/gid_map"
else
  echo deny >"/proc/$child/setgroups"
  echo "0 $EUID 1" >"/proc/$child/uid_map"
  echo "0 $(id -g) 1" >"/proc/$child/gid_map"
fi
echo >"$folder/mapped"
status=0
wait "$child" || status=$?
exit "$status"
