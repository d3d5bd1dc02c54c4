#!/usr/bin/env bash
# The FFT benchmark against FFTW built for 128-bit SIMD only: builds single-precision FFTW
# from Debian's source package with SSE2 as its only vector extension (cached), relinks
# bench/fft_bench.cpp against it with the library objects of an x86-64 build, and prints the
# medians of both and their ratio for N = 8 .. 4096. Debian's own FFTW uses AVX and runs about
# twice as fast as this build at N >= 256, which is why the 128-bit comparison needs it.
# Usage: bench/fft_sse2_fftw.sh [BUILD_DIR] [REPETITIONS]   (default: out/x64, 9)
# Needs Debian's source archive for apt-get source; run as root, it adds that entry itself.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/out/x64}" && pwd)
reps=${2:-9}
cache=$root/out/fftw-sse2
objects=$build/CMakeFiles/zemac_obj.dir/src
[ -d "$objects" ] || { echo "no library objects under $objects: build $build first" >&2; exit 1; }

if [ ! -f "$cache/lib/libfftw3f.a" ]; then
  mkdir -p "$cache/src"
  cd "$cache/src"
  if ! ls fftw3_*.orig.tar.gz >/dev/null 2>&1; then
    if ! apt-get source --download-only fftw3 >/dev/null 2>&1; then
      [ "$(id -u)" = 0 ] || { echo "apt-get source fftw3 failed; run as root once" >&2; exit 1; }
      printf 'Types: deb-src\nURIs: http://deb.debian.org/debian\nSuites: bookworm\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' \
        > /etc/apt/sources.list.d/zemac-fftw-src.sources
      apt-get update -qq
      apt-get source --download-only fftw3 >/dev/null
    fi
  fi
  rm -rf fftw-*/
  tar xzf fftw3_*.orig.tar.gz
  cd fftw-*/
  ./configure -q --enable-float --enable-sse2 --disable-fortran --disable-shared --enable-static \
    --prefix="$cache" CFLAGS="-O3 -fomit-frame-pointer"
  make -s -j"$(nproc)" >/dev/null
  make -s install >/dev/null
fi

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# Compiled like the library (SSE2, no contraction) but against the SSE2-only FFTW's header.
g++ -std=c++20 -O2 -DNDEBUG -msse2 -mfpmath=sse -ffp-contract=off -I"$root/src" -I"$root/include" \
  -I"$root/tests" -I"$cache/include" $(pkg-config --cflags kissfft-float libavutil) \
  "$root/bench/fft_bench.cpp" $(find "$objects" -name '*.o' | sort) -o "$tmp/fft_bench" \
  "$cache/lib/libfftw3f.a" $(pkg-config --libs kissfft-float libavutil) -lbenchmark -lpthread \
  -L"$build" -lzemcore -Wl,-rpath,"$build" -lm
"$tmp/fft_bench" --benchmark_filter='BM_(zemac|fftw)/[0-9]+$' --benchmark_repetitions="$reps" \
  --benchmark_min_time=0.05 --benchmark_report_aggregates_only=true 2>/dev/null |
  awk '/_median/ { split($1, a, "[/_]"); t[a[2] " " a[3]] = $4; n[a[3]] = 1 }
       END {
         printf "%6s %12s %16s %7s\n", "N", "zemac ns", "FFTW SSE2 ns", "ratio"
         for (k in n) if (k + 0 <= 4096) printf "%6d %12.1f %16.1f %7.2f\n", k, t["zemac " k], t["fftw " k], t["zemac " k] / t["fftw " k]
       }' | sort -n
