#!/usr/bin/env bash
# Usage: install_check.sh BUILD_DIR
# Installs the build into a temporary prefix and checks what a user gets: headers, the library
# with its soname links, the programs running from there without the build tree (no RUNPATH into
# it), and two consumers built against the installed files, one with pkg-config and one with
# find_package(zemac).
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" > /dev/null
lib=$(ls -d "$prefix"/lib*/ | head -n1)
fail=0
for f in include/zemac.h include/zemac/core.h; do
  [ -f "$prefix/$f" ] || { echo "FAIL: $f not installed"; fail=1; }
done
for f in libzemac.so libzemac.so.7 libzemac.so.7.0.205 libzemcore.so.7 pkgconfig/zemac.pc \
         cmake/zemac/zemacConfig.cmake cmake/zemac/zemacConfigVersion.cmake; do
  [ -e "$lib/$f" ] || { echo "FAIL: $lib$f not installed"; fail=1; }
done
for f in "$lib"/libzemac.so.7.0.205 "$lib"/libzemcore.so.7.0.205 "$prefix"/bin/zemdec "$prefix"/bin/zemenc; do
  if readelf -d "$f" | grep -E 'RPATH|RUNPATH' | grep -q "$build"; then
    echo "FAIL: $(basename "$f") keeps a path into the build tree"; fail=1
  fi
done
"$prefix/bin/zemdec" --help > /dev/null || { echo "FAIL: installed zemdec does not run"; fail=1; }
"$prefix/bin/zemenc" --help > /dev/null || { echo "FAIL: installed zemenc does not run"; fail=1; }

cc -o "$tmp/with_pkgconfig" "$here/consumer.c" \
  $(PKG_CONFIG_PATH="$lib/pkgconfig" pkg-config --cflags --libs zemac) -Wl,-rpath,"$lib"
"$tmp/with_pkgconfig" || { echo "FAIL: the pkg-config consumer"; fail=1; }
cmake -S "$here" -B "$tmp/consumer" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$tmp/consumer" > /dev/null
"$tmp/consumer/consumer" || { echo "FAIL: the find_package consumer"; fail=1; }
exit $fail
