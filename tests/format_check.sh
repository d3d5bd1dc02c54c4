#!/usr/bin/env bash
# Usage: format_check.sh SOURCE_ROOT
# Every C and C++ source of the tree is as .clang-format lays it out.
set -u
root=$1
command -v clang-format-14 > /dev/null || { echo "clang-format-14 is missing (scripts/setup.sh installs it)"; exit 1; }
mapfile -t files < <(cd "$root" && find src include apps zemcore tests bench fuzz tools \
  -path tests/data -prune -o -type f \( -name '*.cpp' -o -name '*.hpp' -o -name '*.h' -o -name '*.c' \) -print | sort)
bad=0
for f in "${files[@]}"; do
  if ! (cd "$root" && clang-format-14 --dry-run -Werror "$f" > /dev/null 2>&1); then
    echo "not formatted: $f (clang-format-14 -i $f)"; bad=1
  fi
done
[ $bad -eq 0 ] && echo "${#files[@]} files formatted"
exit $bad
