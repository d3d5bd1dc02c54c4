#!/usr/bin/env bash
# Line coverage of src/ from the unit tests and the conformance runs: builds with clang's
# source-based coverage in out/coverage-build, runs every ctest test there, and writes the
# summary per file to out/coverage/summary.txt and the annotated sources to out/coverage/html.
# Usage: scripts/coverage.sh [CTEST-ARGS...]   (for example -R 'Aac|aac_' for a part)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/out/coverage-build
report=$root/out/coverage
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/zemac-ccache}
flags="-fprofile-instr-generate -fcoverage-mapping"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  "-DCMAKE_C_FLAGS=$flags" "-DCMAKE_CXX_FLAGS=$flags" \
  "-DCMAKE_EXE_LINKER_FLAGS=$flags" "-DCMAKE_SHARED_LINKER_FLAGS=$flags" > /dev/null
cmake --build "$build" -j "$(nproc)"
rm -rf "$build/profiles" "$report"
mkdir -p "$build/profiles" "$report"
# One raw profile per process and binary; the test scripts start zemdec and zemenc many times.
(cd "$build" && LLVM_PROFILE_FILE="$build/profiles/%p-%m.profraw" \
  ctest -j "$(nproc)" --timeout 1800 "$@" > "$report/ctest.log" 2>&1) ||
  echo "some tests failed: see $report/ctest.log"
llvm-profdata-14 merge -sparse -failure-mode=all -o "$build/coverage.profdata" "$build"/profiles/*.profraw
objects=()
for f in "$build"/libzemac.so "$build"/tests/zemac_tests "$build"/apps/zemdec/zemdec \
         "$build"/apps/zemenc/zemenc; do
  [ -f "$f" ] && objects+=(-object "$f")
done
# Only the library's sources: the tests, the applications and GoogleTest are left out.
ignore='/usr/|/tests/|/apps/|/bench/|/fuzz/|/tools/|/zemcore/|/include/'
llvm-cov-14 report "${objects[@]:1}" -instr-profile="$build/coverage.profdata" \
  -ignore-filename-regex="$ignore" > "$report/summary.txt"
llvm-cov-14 show "${objects[@]:1}" -instr-profile="$build/coverage.profdata" \
  -ignore-filename-regex="$ignore" -format=html -output-dir="$report/html" \
  -show-line-counts-or-regions
tail -n 1 "$report/summary.txt"
