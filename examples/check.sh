#!/usr/bin/env bash
# check.sh BUILD: builds the example of each language against the library in BUILD, and runs it twice on a private
# appliance of its own. All print the same. What is built goes into BUILD/examples. ./dev languages installs what it needs.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
build=$(realpath "$1")
include=$(realpath "$here/../include")
work=$build/examples
readonly NULL=''
readonly EXPECTED="1 warning o'neil Volume 1 is nearly full.
2 information $NULL $NULL
3 warning o'neil Volume 1 is nearly full."
# What another program may have stored.
readonly WITHOUT_VALUES="INSERT INTO ANNAL_EVENT (event_type, event_user, event_desc) VALUES (NULL, NULL, NULL)"
link=(-L "$build" -lCorix_annal "-Wl,-rpath,$build")

build_c() {
  gcc -std=c99 -Wall -Wextra -pedantic -Werror -I "$include" "$here/c/add_and_list.c" -o "$work/c" "${link[@]}"
}
build_cpp() {
  g++ -std=c++17 -Wall -Wextra -pedantic -Werror -I "$include" "$here/cpp/add_and_list.cc" -o "$work/cpp" "${link[@]}"
}
build_python() {
  printf '#!/bin/sh\nANNAL_LIBRARY=%q PYTHONPATH=%q exec /usr/bin/python3 -B %q\n' "$build/libCorix_annal.so.2" \
    "$here/../python" "$here/python/add_and_list.py" >"$work/python"
  chmod +x "$work/python"
}
# What bindgen makes comes with tests of every record's layout, which are run too.
build_rust() {
  local rustc=(/usr/bin/rustc --edition 2021 -L "$build" -l Corix_annal -C "link-arg=-Wl,-rpath,$build"
    "$here/rust/add_and_list.rs")
  bindgen "$include/Corix_annal.h" -o "$work/bindings.rs"
  OUT_DIR=$work "${rustc[@]}" -o "$work/rust"
  OUT_DIR=$work "${rustc[@]}" --test -o "$work/rust-layouts"
  "$work/rust-layouts" --quiet
}
build_go() {
  [[ -z $(gofmt -l "$here/go") ]]
  GO111MODULE=off GOCACHE=$work/go-cache CGO_CFLAGS="-I$include" CGO_LDFLAGS="-L$build -Wl,-rpath,$build" \
    /usr/bin/go build -o "$work/go" "$here/go/add_and_list.go"
}
build_node() {
  mkdir -p "$work/koffi"
  cp "$here"/node/* "$work/koffi"
  npm --prefix "$work/koffi" ci --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null
  printf '#!/bin/sh\nexec node %q %q %q\n' "$work/koffi/add_and_list.js" "$include/Corix_annal.h" \
    "$build/libCorix_annal.so.2" >"$work/node"
  chmod +x "$work/node"
}

mkdir -p "$work"
failures=0
for language in c cpp python rust go node; do
  # A shell of its own, so that a command that fails ends it.
  (set -e; "build_$language")
  # shellcheck disable=SC2016 # expanded by the inner shell, on the appliance
  printed=$("$build/bin/private-appliance" sh -c '"$1" >/dev/null && sqlite3 /etc/logs/event.log "$2" && "$1"' - \
    "$work/$language" "$WITHOUT_VALUES") || true
  if [[ $printed == "$EXPECTED" ]]; then
    printf '%s: as the others\n' "$language"
  else
    printf '%s: FAILED, it prints:\n%s\n' "$language" "$printed"
    failures=$((failures + 1))
  fi
done
[[ $failures -eq 0 ]]
