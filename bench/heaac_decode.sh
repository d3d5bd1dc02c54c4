#!/usr/bin/env bash
# Times HE-AAC decoding per audio second and whole-process on 300-second streams, the 30-second
# speed streams of tests/data/heaac concatenated ten times: HE-AAC (64 kbit/s stereo) or
# HE-AAC v2 (32 kbit/s, parametric stereo), 44.1 kHz. zemdec (the complex path, and with
# --sbr-lp the low-power one when the build has it) against FFmpeg's float decoder (the
# reference) and, for information, its fixed-point decoder and FAAD2, alternating run by run;
# prints medians and ratios.
# Usage: bench/heaac_decode.sh [ZEMDEC] [RUNS] [he|ps]   (default: build/apps/zemdec/zemdec, 5, he)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
zemdec=${1:-$root/build/apps/zemdec/zemdec}
runs=${2:-5}
kind=${3:-he}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
source=$root/tests/data/heaac/speed-$([ "$kind" = ps ] && echo ps-s44-music-32k || echo he-s44-music-64k).aac
input=$tmp/heaac_300s.aac
for _ in 1 2 3 4 5 6 7 8 9 10; do cat "$source"; done > "$input"

. "$root/bench/timing.sh"
head -c $(($(stat -c %s "$input") / 300)) "$input" > "$tmp/excerpt.aac"
programs=("zemdec=$zemdec @IN@ /dev/null")
if "$zemdec" --help 2>&1 | grep -q -- --sbr-lp; then
  programs+=("zemdec_lp=$zemdec --sbr-lp @IN@ /dev/null")
fi
time_decoders "$tmp" "$runs" 300 "$input" "$tmp/excerpt.aac" "${programs[@]}" \
  "ffmpeg_aac=ffmpeg -v error -threads 1 -c:a aac -i @IN@ -f null -" \
  "ffmpeg_aac_fixed=ffmpeg -v error -threads 1 -c:a aac_fixed -i @IN@ -f null -" \
  "faad=faad -q -o /dev/null @IN@"
