#!/usr/bin/env bash
# Usage: python_binding.sh BUILD_DIR LIBRARY ZEMDEC
# Installs the Python binding as a user does (pip install ./python, into a venv of Debian's
# interpreter that sees its numpy and pytest) and runs its tests against LIBRARY, with ZEMDEC
# as the decoder the stage layer is compared with. The sources are copied first, so that the
# build leaves nothing in the tree.
set -euo pipefail
build=$(cd "$1" && pwd)
src=$(cd "$(dirname "$0")/../.." && pwd)
py=/usr/bin/python3
if ! "$py" -c 'import numpy, pytest, venv' 2> /dev/null; then
  echo "FAIL: $py lacks numpy, pytest or venv (scripts/setup.sh installs them)"
  exit 1
fi
work=$build/python_binding
rm -rf "$work"
mkdir -p "$work"
cp -r "$src/python" "$work/src"
"$py" -m venv --system-site-packages "$work/venv"
"$work/venv/bin/pip" install --quiet --no-index --no-deps --no-build-isolation "$work/src" \
  > "$work/pip.log" 2>&1 || { cat "$work/pip.log"; exit 1; }
cd "$work"
# The tests import the installed package: the copied sources are not on the path.
ZEMAC_LIBRARY=$2 ZEMDEC=$3 PYTHONDONTWRITEBYTECODE=1 \
  "$work/venv/bin/python" -m pytest -q -p no:cacheprovider "$src/python/tests"
