#!/usr/bin/env bash
# proof.sh BIN FOLDER CONFIGURATION PSQL...: on a private appliance, seals, sends, redacts and sends again. The last words
# are a command that asks the database. Prints a line for each thing that is looked at, which postgresql.sh compares.
set -euo pipefail
PATH=$1:$PATH
folder=$2 configuration=$3
shift 3
question=("$@")
ask() { "${question[@]}" "$1"; }
send() { annal-export --config "$configuration" --once --patience 120; }
export ANNAL_SEAL_KEY=$folder/seal.key

annalctl event create --limit 1000 >/dev/null
for text in first 'ann was here' third; do
  annalctl event add "$text" --user ann >/dev/null
done
annalctl event add 'not yet sealed' --user ann >/dev/null
annalctl seal event >/dev/null 2>&1
send
echo "sent: $(ask "SELECT count(*), count(*) FILTER (WHERE event_desc = 'ann was here') FROM annal.event")"

annalctl event add 'sealed by the redaction' --user ann >/dev/null
send
annalctl event redact --id 2 >/dev/null
annalctl event redact --id 5 >/dev/null
send
send
echo "redacted: $(ask "SELECT string_agg(id || '=' || event_desc || '/' || event_user, ' ' ORDER BY id) FROM annal.event")"
echo "traces: $(ask "SELECT string_agg(id::text, ' ' ORDER BY id) FROM annal.redaction")"

# The entry is gone from the log when the redaction is sent.
annalctl event redact --id 3 >/dev/null
python3 -c 'import sqlite3
with sqlite3.connect("/etc/logs/event.log") as log: log.execute("DELETE FROM ANNAL_EVENT WHERE event_id = 3")'
send
echo "gone: $(ask "SELECT count(*), count(event_desc) FROM annal.event WHERE id = 3")"

heads=$folder/heads
ask "SELECT head FROM annal.head WHERE log = 'event'" >"$heads"
echo "heads: $(wc -l <"$heads")"
annalctl seal event --accept >/dev/null
echo "verified: $(annalctl verify event --public-key "$folder/seal.pub" --anchor "$heads" >/dev/null; echo $?)"

# Somebody with root's rights writes another log, and another chain to it.
rm /etc/logs/event.log.chain
annalctl seal event >/dev/null
echo "rewritten, without the heads: $(annalctl verify event --public-key "$folder/seal.pub" >/dev/null; echo $?)"
echo "with them: $(annalctl verify event --public-key "$folder/seal.pub" --anchor "$heads" | grep -c 'chain-replaced')"
