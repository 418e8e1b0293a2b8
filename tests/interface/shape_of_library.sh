#!/usr/bin/env bash
# shape_of_library.sh LIBRARY HEADER MAP PACKING LANDING_PAD: checks what the dynamic linker sees of the library. It
# must export exactly the names that the header declares, and need only SQLite, libc and the two platform libraries.
# PACKING is "packed" or "plain", for the relative relocations. LANDING_PAD is the instruction that the processor needs
# at the target of an indirect call, or "none".
set -euo pipefail
library=$1 header=$2 map=$3 packing=$4 landing_pad=$5

declared() {
  grep -v '^#' "$header" | tr '\n' ' ' | sed 's|/\*|\n&|g; s|\*/|&\n|g' | grep -v '^/\*' | tr '\n' ' ' | tr ';' '\n' |
    sed -n 's/.*ANNAL_API //p' | sed 's/[([].*//; s/[[:space:]]*$//; s/.*[^A-Za-z0-9_]//' | sort
}
mapped() { sed -n 's/^ *\([A-Za-z_][A-Za-z0-9_]*\);$/\1/p' "$map" | sort; }
exported() { nm -D --defined-only "$library" | awk '{print $3}' | sort; }

# The catalog's arrays outside the segment that is read-only after relocation.
writable_arrays() {
  local start length value name
  read -r start length < <(readelf -lW "$library" | awk '/GNU_RELRO/ {print $3, $6}')
  while read -r value _ name; do
    ((16#$value >= start && 16#$value < start + length)) || echo "$name"
  done < <(nm -D --defined-only "$library" | grep -E ' A[0-9]{3}_list$')
}
# Exported functions whose first instruction is not a landing pad.
unguarded_functions() {
  [[ $landing_pad == none ]] || objdump -d --no-show-raw-insn "$library" |
    awk -v pad="$landing_pad" '
      name != "" { if ($2 !~ "^(" pad ")") print name, $2; name = "" }
      /^[0-9a-f]+ <annal_[a-z0-9_]+>:$/ { name = $2 }'
}
# 12000 pointers are thousands of relocations, or a bitmap of some 270 words.
relocation_form() {
  readelf -rW "$library" | awk '/_RELATIVE/ {found = 1} END {print found ? "plain" : "packed"}'
}

failures=0
same() { # WHAT EXPECTED FOUND
  if [[ -z $2 || $2 != "$3" ]]; then
    printf 'FAILED: %s\n' "$1"
    diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") || true
    failures=$((failures + 1))
  fi
}
lacks() { # WHAT PATTERN TEXT
  if grep -qE "$2" <<<"$3"; then
    printf 'FAILED: %s:\n%s\n' "$1" "$(grep -E "$2" <<<"$3")"
    failures=$((failures + 1))
  fi
}

dynamic=$(readelf -dW "$library")
segments=$(readelf -lW "$library")
undefined=$(nm -D --undefined-only "$library")

same "the map lists what the header declares" "$(declared)" "$(mapped)"
same "the library exports what the header declares" "$(declared)" "$(exported)"
same "the SONAME" "libCorix_annal.so.2" "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
same "the libraries needed" "$(printf '%s\n' libCorix_Util.so.0 libCorix_config.so.0 libc.so.6 libsqlite3.so.0 | sort)" \
  "$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic" | sort)"
# shellcheck disable=SC2016 # the dynamic linker's, not the shell's
same "where the libraries beside it are looked for" '$ORIGIN' \
  "$(sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p' <<<"$dynamic")"
same "symbols are bound at load time" "Flags: NOW" "$(grep -o 'Flags: NOW' <<<"$dynamic")"
same "relocated data is made read-only" "GNU_RELRO" "$(grep -o 'GNU_RELRO' <<<"$segments")"
same "the stack is not executable" "RW" "$(awk '/GNU_STACK/ {print $7}' <<<"$segments")"
same "relative relocations are $packing" "$packing" "$(relocation_form)"
[[ $landing_pad != endbr ]] ||
  same "returns are checked against a shadow stack" SHSTK "$(readelf -nW "$library" | grep -o SHSTK)"
lacks "functions that cannot be jumped to" . "$(unguarded_functions)"
same "the stack is protected" "__stack_chk_fail" "$(grep -o '__stack_chk_fail' <<<"$undefined")"
same "calls with bounded buffers are checked" "__vsnprintf_chk" "$(grep -o '__vsnprintf_chk' <<<"$undefined")"
same "an application's name is there once" 1 "$(strings -a -d "$library" | grep -cx A002)"
lacks "arrays that can be written" . "$(writable_arrays)"
lacks "text relocations" "TEXTREL" "$dynamic"
lacks "calls into a C++ run-time library" " (_Z|__cxa_(throw|begin|guard)|__gxx)" "$undefined"

[[ $failures -eq 0 ]]
