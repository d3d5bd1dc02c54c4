#!/usr/bin/env bash
# Usage: check_exports.sh LIBRARY EXPORT_LIST INCLUDE_DIR plain|sanitized
# The dynamic symbols the library defines must be exactly the functions the public header
# declares, each of them on the export list; the library must need no C++ runtime.
set -euo pipefail
lib=$1 list=$2 inc=$3 kind=${4:-plain}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

grep -oE '^ZEM_EXPORT\([0-9]+, *[A-Za-z0-9_]+\)' "$list" | sed -E 's/.*, *([A-Za-z0-9_]+)\)/\1/' > "$tmp/list"
# The list is in ordinal order: the version query, then the names sorted.
[ "$(head -n1 "$tmp/list")" = zemacGetLibVersion ] || { echo "ordinal 1 is not zemacGetLibVersion"; exit 1; }
tail -n +2 "$tmp/list" | LC_ALL=C sort -c || { echo "export list is not in ordinal order"; exit 1; }
[ "$(wc -l < "$tmp/list")" -eq 194 ] || { echo "export list does not hold 194 names"; exit 1; }

nm -D --defined-only "$lib" | awk '$2 ~ /^[TWi]$/ {print $3}' | sed 's/@.*//' | LC_ALL=C sort > "$tmp/exported"
cat "$inc"/zemac.h "$inc"/zemac/*.h | grep -v '^[[:space:]]*#' | tr '\n' ' ' | grep -oE 'ZEM_API[^;(]*\(' \
  | grep -oE '[A-Za-z0-9_]+ *\($' | tr -d ' (' | LC_ALL=C sort -u > "$tmp/declared"
LC_ALL=C sort "$tmp/list" > "$tmp/list.sorted"

status=0
if ! diff -u "$tmp/declared" "$tmp/exported" > "$tmp/diff1"; then
  echo "exported symbols differ from the header's declarations:"; cat "$tmp/diff1"; status=1
fi
extra=$(LC_ALL=C comm -23 "$tmp/exported" "$tmp/list.sorted")
[ -z "$extra" ] || { echo "exported but not on the export list: $extra"; status=1; }

needed=$(readelf -d "$lib" | grep NEEDED || true)
echo "$needed"
# Every declared export that takes arguments has its row in the argument sweep.
cat "$(dirname "$0")"/argument_sweep*_test.cpp > "$tmp/sweep"
for f in $(grep -v '^zemacGetLibVersion$' "$tmp/declared"); do
  grep -qE "\"$f[\" ]" "$tmp/sweep" || { echo "$f has no row in the argument sweep"; status=1; }
done

# A sanitizer build links the sanitizer runtimes, which bring the C++ runtime along.
if [ "$kind" = sanitized ]; then
  echo "exported symbols: $(wc -l < "$tmp/exported") of $(wc -l < "$tmp/list") on the list"
  exit $status
fi
echo "$needed" | grep -qE 'libstdc\+\+|libgcc_s' && { echo "library needs the C++ runtime"; status=1; }
echo "$needed" | grep -vE '\[(libc\.so|libm\.so|libzemcore\.so)' | grep -q NEEDED && { echo "unexpected NEEDED entry"; status=1; }
if nm -D --undefined-only "$lib" | grep -qE 'GLIBCXX|CXXABI'; then
  echo "library imports C++ runtime symbols"; status=1
fi
# No global mutable state: the library's only writable object is the kernel choice, made once
# while it loads; the others belong to the C runtime's start-up code and the compiler's CPU probe.
writable=$(objdump -t "$lib" | grep -E ' \.(data|bss|tdata|tbss)[[:space:]]' | awk '{print $NF}' |
  grep -vxE '_ZN3zem12_GLOBAL__N_1L?5kAvx2E|completed\.[0-9]+|__dso_handle|__TMC_END__|__cpu_model|__cpu_features2' || true)
[ -z "$writable" ] || { echo "writable objects in the library: $writable"; status=1; }
echo "exported symbols: $(wc -l < "$tmp/exported") of $(wc -l < "$tmp/list") on the list"
exit $status
