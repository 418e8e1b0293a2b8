#!/usr/bin/env bash
# texts_agree.sh HEADER TEXTS: every result code of the header has its comment there as its text, and each level, severity
# and action result has the name of its constant. TEXTS is texts.c, compiled.
set -euo pipefail
header=$1 texts=$2
failures=0

same() { # WHAT EXPECTED FOUND
  if [[ -z $2 || $2 != "$3" ]]; then
    printf 'FAILED: %s: "%s" and "%s"\n' "$1" "$2" "$3"
    failures=$((failures + 1))
  fi
}

# enumerators NAME: each constant of an enum, its number and its comment.
enumerators() {
  awk -v name="$1" '$0 ~ "^enum " name " \\{" { inside = 1 } inside { print } inside && /\};$/ { exit }' "$header" |
    tr '\n' ' ' | sed 's/^[^{]*{//; s/};.*//; s/ \(ANNAL_[A-Z_]* = \)/\n\1/g' |
    { cat; echo; } | sed -nE 's|^(ANNAL_[A-Z_]+) = (-?[0-9]+),?( *(/\* (.*) \*/)? *)?$|\1\t\2\t\5|p'
}

codes=0
while IFS=$'\t' read -r name number comment; do
  same "the text of $name" "$comment" "$("$texts" result_text "$number")"
  same "the name of $name" "$name" "$("$texts" result_name "$number")"
  codes=$((codes + 1))
done < <(enumerators annal_result)
same "the number of codes" "$(grep -cE '^  ANNAL_[A-Z_]+ = (-|0, +/\* success)' "$header")" "$codes"
same "another code" "an unknown result" "$("$texts" result_text -19)"
same "a count" "success" "$("$texts" result_text 7)"

# names QUESTION ENUM PREFIX FEWEST
names() {
  local name number found=0
  while IFS=$'\t' read -r name number _; do
    name=${name#"$3"}
    same "the name of $3$name" "${name,,}" "$("$texts" "$1" "$number")"
    found=$((found + 1))
  done < <(enumerators "$2")
  same "the number of $2" "$4" "$found"
  same "another $1" unknown "$("$texts" "$1" 99)"
}
names level annal_level ANNAL_ 3
names severity annal_severity ANNAL_SEVERITY_ 8
names action annal_action_result ANNAL_ACTION_ 2
same "the logs" "event conn fileop notice unknown" \
  "$(for log in 0 1 2 3 4; do "$texts" log_name "$log"; done | paste -sd ' ')"
for path in /etc/logs/event.log /etc/logs/conn.log /etc/logs/notice.log; do
  same "a path of the header" 1 "$(for log in 0 1 2 3; do "$texts" log_path "$log"; done | grep -cx "$path")"
  grep -q "The \(log's \)\?file is $path" "$header"
done

[[ $failures -eq 0 ]]
