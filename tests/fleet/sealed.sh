#!/usr/bin/env bash
# sealed.sh BIN FOLDER CONFIGURATION HEADS...: on a private appliance, seals, sends, redacts and sends again. HEADS is a
# command that prints the heads that the receiver has. Prints what verify says of the log beside these.
set -euo pipefail
PATH=$1:$PATH
folder=$2 configuration=$3
shift 3
export ANNAL_SEAL_KEY=$folder/seal.key
send() { annal-export --config "$configuration" --once --patience 120; }
verified() { annalctl verify event --public-key "$folder/seal.pub" --anchor "$folder/heads"; }

annalctl event create --limit 1000 >/dev/null
for text in first 'ann was here' third; do
  annalctl event add "$text" --user ann >/dev/null
done
annalctl seal event >/dev/null 2>&1
send
annalctl event redact --id 2 >/dev/null
send
"$@" >"$folder/heads"
echo "heads: $(wc -l <"$folder/heads")"
echo "verified: $(verified >/dev/null && echo "$?")"
rm /etc/logs/event.log.chain
annalctl seal event >/dev/null
echo "another chain: $(verified | grep -c 'chain-replaced')"
