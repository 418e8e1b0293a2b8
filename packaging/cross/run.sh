#!/usr/bin/env bash
# run.sh PROCESSOR [SUITE...]: builds the library and test programs for another processor (armhf, aarch64, s390x), runs them
# with an emulator on a private appliance of this machine, and compares the files that both write, byte for byte. A SUITE is
# a test program, or PROGRAM=FILTER for some of its tests, as GoogleTest takes it; "library" or "tools" for all of one;
# "none" for none. Without one: library.
# run.sh --triplet PROCESSOR: prints its GNU name.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/../.."

# The GNU name, Debian's name, the emulator's name.
declare -rA NAMES=(
  [armhf]='arm-linux-gnueabihf armhf arm'
  [aarch64]='aarch64-linux-gnu arm64 aarch64'
  [s390x]='s390x-linux-gnu s390x s390x'
)
readonly LIBRARY=(common catalog fileop notice conn event support cpp threads trust)
readonly TOOLS=(annalctl annalctl_pages proof web export sinks)
say() { printf '\n\033[1m%s\033[0m\n' "$*" >&2; }

if [[ $1 == --triplet ]]; then
  [[ -n ${NAMES[$2]:-} ]] && echo "${NAMES[$2]%% *}"
  exit
fi
processor=$1
shift
read -r triplet debian emulator <<<"${NAMES[$processor]}"
suites=()
for suite in "${@:-library}"; do
  case $suite in
    library) suites+=("${LIBRARY[@]}") ;;
    tools) suites+=("${TOOLS[@]}") ;;
    none) ;;
    *) suites+=("$suite") ;;
  esac
done
programs=("${suites[@]/%=*}")
compared=(library)
for tool in "${TOOLS[@]}"; do
  [[ " ${programs[*]} " != *" $tool "* ]] || compared=(library tools)
done

sysroot=$PWD/build/sysroots/$debian build=$PWD/build/cross-$processor release=$PWD/build/release
packaging/cross/sysroot.sh "$debian" "$sysroot"

say "Building ($processor)"
cmake -S . -B "$build" -G Ninja --toolchain "$PWD/packaging/cross/toolchain.cmake" -DANNAL_TRIPLET="$triplet" \
  -DCMAKE_SYSROOT="$sysroot" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
  -DANNAL_BENCHMARKS=OFF >"$build.log"
targets=(Corix_annal written_logs c_caller)
if [[ ${compared[*]} == *tools* ]]; then
  cmake --build "$release" --target annalctl same_chance
  targets+=(annalctl same_chance)
fi
((${#programs[@]} == 0)) || targets+=("${programs[@]/%/_tests}")
cmake --build "$build" --target "${targets[@]}"

say "What the library exports ($processor)"
packaging/abi/check.sh "$debian" "$build/libCorix_annal.so.2"

# On a private appliance, created by this machine's program: an emulator has few of the system calls for that.
emulated=(packaging/cross/emulated.sh "$emulator" "$sysroot" "$release/bin/private-appliance")

say "The files of both ($processor)"
for what in "${compared[@]}"; do
  packaging/cross/files.sh "$release" "$build" "$what" "${emulated[@]}"
done

((${#suites[@]})) || exit 0
unfit=$(sed -n 's/^\([^# ][^ ]*\).*/\1/p' packaging/cross/unfit.txt | paste -sd: -)
"${emulated[@]}" env ANNAL_EMULATED=yes "$build/bin/c_caller"
status=0
for suite in "${suites[@]}"; do
  program=${suite%%=*}
  say "Testing (${program}_tests, $processor)"
  filter='*'
  [[ $suite != *=* ]] || filter=${suite#*=}
  packaging/cross/suite.sh "$build" "$program" "$filter" "$unfit" "${emulated[@]}" || status=1
done
exit "$status"
