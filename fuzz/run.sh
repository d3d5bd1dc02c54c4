#!/usr/bin/env bash
# Runs every fuzz target of a build on its committed seed corpus, sharing one time budget.
# Usage: fuzz/run.sh BUILD_DIR [TOTAL_SECONDS]   (default 180; a long campaign: 3600 or more)
set -euo pipefail
build=$1 total=${2:-180}
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t targets < <(find "$build/fuzz" -maxdepth 1 -type f -name '*_fuzz' -perm -u+x | sort)
[ ${#targets[@]} -gt 0 ] || { echo "no fuzz targets in $build/fuzz"; exit 1; }
each=$(( total / ${#targets[@]} ))
[ "$each" -ge 3 ] || each=3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for t in "${targets[@]}"; do
  name=$(basename "$t")
  mkdir -p "$work/$name" "$here/corpus/$name"
  # New inputs go to the scratch corpus; the committed seeds are only read.
  if ! "$t" -max_total_time="$each" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$work/$name-" "$work/$name" "$here/corpus/$name" > "$work/$name.log" 2>&1; then
    echo "FAIL: $name"; tail -n 40 "$work/$name.log"; failed=1
    mkdir -p "$build/fuzz-artifacts" && cp "$work/$name"-* "$build/fuzz-artifacts/" 2>/dev/null || true
  else
    echo "$name: $(grep -oE 'stat::number_of_executed_units: *[0-9]+' "$work/$name.log" | grep -oE '[0-9]+$') runs in ${each}s"
  fi
done
exit $failed
