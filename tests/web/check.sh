#!/usr/bin/env bash
# check.sh BUILD [--record]: looks at annal-web under lighttpd with a browser: what strangers write, accessibility, the page
# without scripts and by the keyboard alone; then loads it with readers and writers at once. With --record the pictures
# in docs/pictures are taken as well. ./dev web-check installs what it needs.
set -euo pipefail
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
source=$(realpath "$here/../..") build=$(realpath "$1")
readonly PORT=8543
browser=$build/web/browser pictures=

mkdir -p "$browser"
cp "$here"/browser/* "$browser"
npm --prefix "$browser" ci --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null
if [[ ${2:-} == --record ]]; then
  pictures=$source/docs/pictures
fi
export DEMO_DATA=$source/tools/web/demo_data.py

status=0
for file in dist/uPlot.iife.js dist/uPlot.min.css LICENSE; do
  vendored=${file##*/}
  cmp "$browser/node_modules/uplot/$file" "$source/tools/web/static/${vendored/LICENSE/uPlot-LICENSE}" || status=1
done
echo "With a browser:"
"$source/tools/web/serve.sh" "$build" "$PORT" node "$browser/check.mjs" "$PORT" "$pictures" || status=1
echo "Under load:"
# shellcheck disable=SC2016 # for the inner shell
PYTHONPATH=$source/python LD_LIBRARY_PATH=$build "$source/tools/web/serve.sh" "$build" "$PORT" \
  bash -c 'python3 "$DEMO_DATA" 90 91000 && python3 "$0" "$1"' "$here/load.py" "$PORT" || status=1
exit "$status"
