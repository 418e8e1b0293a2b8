#!/usr/bin/env bash
# recover.sh BIN [DAMAGES [SEED]]: what annalctl's salvage and the .recover of SQLite's shell save of the same damaged
# logs. BIN is the build's folder of programs. Debian's shell lacks the table sqlite_dbpage that .recover reads, so this
# builds one from Debian's source package, outside the tree. It needs the network, dpkg-dev, gcc, make and tcl.
set -euo pipefail

bin=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# Lists and cache of its own: the machine's apt need not know source packages, and stays as it is.
fetch() {
  local codename apt
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  mkdir -p "$folder"/{lists,cache}/partial "$folder/source"
  echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian $codename main" \
    >"$folder/sources.list"
  apt=(apt-get -q -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$folder/lists" -o "Dir::Cache=$folder/cache" -o APT::Sandbox::User=)
  "${apt[@]}" update
  (cd "$folder/source" && "${apt[@]}" source sqlite3)
}

build() {
  local configure
  configure=$(echo "$folder"/source/sqlite3-*/configure)
  mkdir "$folder/build"
  cd "$folder/build"
  "$configure" --disable-tcl --disable-readline
  make sqlite3.c shell.c
  # As Debian has them, and the table.
  gcc -O2 -w -DSQLITE_THREADSAFE=1 -DSQLITE_SECURE_DELETE -DSQLITE_ENABLE_DBSTAT_VTAB -DSQLITE_ENABLE_DBPAGE_VTAB \
    shell.c sqlite3.c -o sqlite3 -lm -lpthread -ldl
}

{ fetch && build; } >"$folder/output" 2>&1 || { cat "$folder/output" >&2; exit 1; }
"$folder/build/sqlite3" --version
"$bin/private-appliance" /usr/bin/python3 "$here/recover.py" "$bin" "$folder/build/sqlite3" "$@"
