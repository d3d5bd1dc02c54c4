#!/usr/bin/env bash
# Sets up what is missing and runs every test in the builds: x86-64 (g++, with the
# benchmarks built), i686 (g++ -m32 -msse2 -mfpmath=sse), the Windows i686 DLL (cross-built
# with MinGW-w64; its export, import and version tables are checked, nothing runs) and x86-64
# ASan+UBSan (clang, with the fuzz targets, which then run on their seed corpora within one
# shared time budget), and x86-64 ThreadSanitizer, which runs the tests that decode and
# transform from several threads at once.
# Environment: ZEM_FUZZ_SECONDS (default 180), ZEM_BUILDS (default "x64 i686 win32 asan tsan").
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" all || exit 1
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.cache/zemac-ccache}
jobs=$(nproc)
total_pass=0 total_fail=0 status=0

configure_and_build() { # NAME CMAKE-ARGS...; builds the targets in build_targets, or all
  local name=$1; shift
  local dir="$root/out/$name"
  cmake -S "$root" -B "$dir" -G Ninja "$@" > "$dir.configure.log" 2>&1 \
    || { cat "$dir.configure.log"; return 1; }
  cmake --build "$dir" -j "$jobs" "${build_targets[@]}" > "$dir.build.log" 2>&1 \
    || { grep -vE '^\[[0-9]+/[0-9]+\]' "$dir.build.log" | tail -n 60; return 1; }
}

run_tests() { # NAME: prints each failing test once with its output, then a summary line
  local dir="$root/out/$1" log
  log=$(mktemp)
  (cd "$dir" && ctest -j "$jobs" --output-on-failure --timeout 1800) > "$log" 2>&1
  local rc=$?
  # A failing test's status line ends in neither Passed nor Skipped; its output follows until
  # the next status line.
  awk '/^ *[0-9]+\/[0-9]+ Test +#/ { show = ($0 !~ /(Passed|Skipped) +[0-9.]+ sec$/) }
       /tests passed, [0-9]+ tests failed/ { show = 0 }
       show && !/^ +Start +[0-9]+: /' "$log"
  local line total failed
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
  total=$(echo "$line" | sed -E 's/.*out of ([0-9]+).*/\1/')
  failed=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed.*/\1/')
  if [ -z "$line" ]; then
    tail -n 40 "$log"; rm -f "$log"
    echo "=== $1: ctest did not finish"; total_fail=$((total_fail + 1)); return 1
  fi
  rm -f "$log"
  echo "=== $1: $((total - failed)) passed, $failed failed"
  total_pass=$((total_pass + total - failed)); total_fail=$((total_fail + failed))
  return $rc
}

mkdir -p "$root/out"
# Some x86-64 kernels run no 32-bit executables; the i686 build then runs its tests under
# qemu-i386 (Debian's qemu-user).
i686_emulator=()
printf 'int main(void){return 0;}\n' > "$root/out/probe.c"
if gcc -m32 "$root/out/probe.c" -o "$root/out/probe32" 2>/dev/null && ! "$root/out/probe32" 2>/dev/null; then
  i686_emulator=(-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-i386)
fi
for build in ${ZEM_BUILDS:-x64 i686 win32 asan tsan}; do
  build_targets=()
  case $build in
    x64)  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc -DZEM_BENCH=ON) ;;
    i686) args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc
                "-DCMAKE_C_FLAGS=-m32 -msse2 -mfpmath=sse" "-DCMAKE_CXX_FLAGS=-m32 -msse2 -mfpmath=sse"
                -DCMAKE_SHARED_LINKER_FLAGS=-m32 -DCMAKE_EXE_LINKER_FLAGS=-m32 "${i686_emulator[@]}") ;;
    win32) args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEM_TESTS=OFF
                 -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-i686.cmake")
           build_targets=(--target zemac zemcore) ;;
    asan) args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_C_COMPILER=clang-14
                -DZEM_SANITIZE=ON -DZEM_FUZZ=ON) ;;
    tsan) args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc -DZEM_TSAN=ON)
          build_targets=(--target zemac_tests) ;;
    *) echo "unknown build $build"; exit 2 ;;
  esac
  if ! configure_and_build "$build" "${args[@]}"; then
    echo "build $build FAILED"; status=1; total_fail=$((total_fail + 1)); continue
  fi
  if [ "$build" = win32 ]; then # the DLL's tables are its test: one pass or one fail
    if python3 "$root/tests/packaging/windows_dll_check.py" "$root/out/win32"; then
      echo "=== win32: 1 passed, 0 failed"; total_pass=$((total_pass + 1))
    else
      echo "=== win32: 0 passed, 1 failed"; total_fail=$((total_fail + 1)); status=1
    fi
    continue
  fi
  if [ "$build" = tsan ]; then # one pass or one fail, any report failing it
    if TSAN_OPTIONS=halt_on_error=1 "$root/out/tsan/tests/zemac_tests" --gtest_filter='Concurrency.*'; then
      echo "=== tsan: 1 passed, 0 failed"; total_pass=$((total_pass + 1))
    else
      echo "=== tsan: 0 passed, 1 failed"; total_fail=$((total_fail + 1)); status=1
    fi
    continue
  fi
  if [ "$build" = asan ]; then export ZEM_SHORT_SWEEPS=1; else unset ZEM_SHORT_SWEEPS; fi
  run_tests "$build" || status=1
  if [ "$build" = asan ]; then
    echo "=== fuzz (${ZEM_FUZZ_SECONDS:-180}s in all)"
    if bash "$root/fuzz/run.sh" "$root/out/asan" "${ZEM_FUZZ_SECONDS:-180}"; then
      total_pass=$((total_pass + 1))
    else
      total_fail=$((total_fail + 1)); status=1
    fi
  fi
done
echo "${total_pass} passed, ${total_fail} failed"
exit $status
