#!/usr/bin/env bash
# install_test.sh CMAKE BUILD DIST_PACKAGES LIBRARY PYTHON SOURCE: installs the Python package alone, and uses it.
set -euo pipefail

cmake=$1 build=$2 dist_packages=$3 library=$4 python=$5 source=$6
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$cmake" --install "$build" --component python --prefix "$folder" >/dev/null
installed=$folder/$dist_packages
# Every file of the source, and nothing else but documents and examples.
diff <(cd "$source" && find . -name __pycache__ -prune -o -type f -print | sort) \
  <(cd "$installed/annal" && find . -type f | sort)
[[ -f $folder/share/doc/python3-annal/python.md && -f $folder/share/doc/python3-annal/examples/follow.py ]]
[[ -z $(find "$folder" -name '*.so*' -o -name '*.pyc') ]]

cd /
text=$(ANNAL_LIBRARY=$library PYTHONPATH=$installed "$python" -c \
  'import annal; print(annal.__file__, annal.catalog["A011"][7].fill(60))')
[[ $text == "$installed/annal/__init__.py [External Device] Detected UPS power loss. Shutting down NAS in 60 second(s)." ]]
