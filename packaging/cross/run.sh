#!/usr/bin/env bash
# run.sh PROCESSOR [PROGRAM...]: builds the library and its tests for another processor (armhf, aarch64, s390x), runs them
# with an emulator on a private appliance of this machine, and compares the logs that both write, byte for byte. With
# names, only those test programs; "none" for none.
# run.sh --triplet PROCESSOR: prints its GNU name.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/../.."

# The GNU name, Debian's name, the emulator's name.
declare -rA NAMES=(
  [armhf]='arm-linux-gnueabihf armhf arm'
  [aarch64]='aarch64-linux-gnu arm64 aarch64'
  [s390x]='s390x-linux-gnu s390x s390x'
)
say() { printf '\n\033[1m%s\033[0m\n' "$*" >&2; }

if [[ $1 == --triplet ]]; then
  [[ -n ${NAMES[$2]:-} ]] && echo "${NAMES[$2]%% *}"
  exit
fi
processor=$1
shift
read -r triplet debian emulator <<<"${NAMES[$processor]}"
programs=("$@")
((${#programs[@]})) || programs=(common catalog fileop notice conn event support)
[[ ${programs[*]} != none ]] || programs=()

sysroot=$PWD/build/sysroots/$debian build=$PWD/build/cross-$processor release=$PWD/build/release
packaging/cross/sysroot.sh "$debian" "$sysroot"

say "Building ($processor)"
cmake -S . -B "$build" -G Ninja --toolchain "$PWD/packaging/cross/toolchain.cmake" -DANNAL_TRIPLET="$triplet" \
  -DCMAKE_SYSROOT="$sysroot" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
  -DANNAL_BENCHMARKS=OFF >"$build.log"
cmake --build "$build" --target Corix_annal written_logs c_caller "${programs[@]/%/_tests}"

say "What the library exports ($processor)"
packaging/abi/check.sh "$debian" "$build/libCorix_annal.so.2"

# emulated COMMAND...: on a private appliance, created by this machine's program: an emulator has few of the system calls
# for that.
emulated() { packaging/cross/emulated.sh "$emulator" "$sysroot" "$release/bin/private-appliance" "$@"; }

say "The files of both ($processor)"
logs=$build/logs
rm -rf "$logs"
mkdir -p "$logs/here" "$logs/there"
# shellcheck disable=SC2016 # the inner shell's
write='export TZ=UTC; "$0" write /etc/logs/fileop.log && cp /etc/logs/*.log "$1"'
# shellcheck disable=SC2016 # the inner shell's
list='export TZ=UTC; cp "$1"/*.log /etc/logs && "$0" list /etc/logs/fileop.log'
here=$release/bin/written_logs there=$build/bin/written_logs
"$release/bin/private-appliance" sh -c "$write" "$here" "$logs/here"
emulated sh -c "$write" "$there" "$logs/there"
for log in "$logs"/here/*.log; do
  cmp "$log" "$logs/there/${log##*/}"
done
"$release/bin/private-appliance" sh -c "$list" "$here" "$logs/here" >"$logs/here.txt"
"$release/bin/private-appliance" sh -c "$list" "$here" "$logs/there" >"$logs/theirs-read-here.txt"
emulated sh -c "$list" "$there" "$logs/here" >"$logs/ours-read-there.txt"
cmp "$logs/here.txt" "$logs/theirs-read-here.txt"
cmp "$logs/here.txt" "$logs/ours-read-there.txt"
printf '%s logs are equal, with %s rows\n' "$(find "$logs/here" -name '*.log' | wc -l)" "$(wc -l <"$logs/here.txt")"

((${#programs[@]})) || exit 0
unfit=$(sed -n 's/^\([^# ][^ ]*\).*/\1/p' packaging/cross/unfit.txt | paste -sd: -)
emulated env ANNAL_EMULATED=yes "$build/bin/c_caller"
for program in "${programs[@]}"; do
  say "Testing (${program}_tests, $processor)"
  emulated "$build/bin/${program}_tests" --gtest_brief=1 --gtest_filter="-$unfit"
done
