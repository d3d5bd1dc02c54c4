#!/usr/bin/env bash
# Sets up what is missing, builds zemac and runs the sample decoder on the bundled samples.
# Extra arguments go to zemdec (for example: scripts/run.sh --info FILE.aac).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" build
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZEM_TESTS=OFF > /dev/null
cmake --build "$root/build" --target zemdec > /dev/null
exec "$root/build/apps/zemdec/zemdec" "$@"
