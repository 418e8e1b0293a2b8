# shellcheck shell=bash
# For the tests beside it: a folder of their own, the program that they compile, and what it must have stored.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# A program in C that is one in C++, too.
cat >"$folder/caller.c" <<'END'
#include <Corix_annal.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  EventRecord event;
  int created = annal_event_create_tbl(0, 0);
  memset(&event, 0, sizeof event);
  event.event_type = ANNAL_WARNING;
  snprintf(event.event_desc, sizeof event.event_desc, "Stored by %s.", argc > 1 ? argv[1] : "?");
  if (created != ANNAL_OK && created != ANNAL_TABLE_FAILED) return 1;
  return annal_event_add_msgid_ex3(&event) == ANNAL_OK ? 0 : 1;
}
END

# stores PROGRAM TEXT: the program, with its arguments, stores an event with that text.
stores() {
  local program
  read -ra program <<<"$1"
  "${program[@]}" "$2"
  annalctl event list --all --json | grep -F "\"event_desc\":\"Stored by $2.\"" >/dev/null
}
