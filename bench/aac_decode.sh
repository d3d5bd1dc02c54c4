#!/usr/bin/env bash
# Times AAC decoding per audio second and whole-process of one 300-second 44.1 kHz stereo
# 128 kbit/s file: zemdec against FFmpeg's float and fixed-point decoders (one thread, null
# muxer) and FAAD2 (to /dev/null), alternating the programs run by run, and prints medians and
# ratios. PROFILE main encodes the file as AAC Main with the predictors on (mono, where FFmpeg's
# encoder uses them), ltp as AAC LTP with long-term prediction switched on in 30% of the
# long-window frames by the conformance rewriter (the encoder never uses it), instead of AAC-LC.
# Usage: bench/aac_decode.sh [ZEMDEC] [RUNS] [lc|main|ltp]   (default: build/apps/zemdec/zemdec, 5, lc)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
zemdec=${1:-$root/build/apps/zemdec/zemdec}
runs=${2:-5}
profile=${3:-lc}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
input=$tmp/music_300s.aac
# Material with content across the band: two tones, a chirp, noise and clicks.
ffmpeg -v error -y -f lavfi -i "aevalsrc=0.25*sin(2*PI*220*t)+0.12*sin(2*PI*1750*t)+0.08*sin(2*PI*(300+20*t)*t)+0.05*(random(0)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)|0.25*sin(2*PI*275*t)+0.12*sin(2*PI*2060*t)+0.05*(random(1)-0.5):s=44100:d=300" \
  $([ "$profile" = main ] && echo "-ac 1 -profile:a aac_main -aac_pred 1") \
  $([ "$profile" = ltp ] && echo "-profile:a aac_ltp -aac_ltp 1 -strict -2 -aac_pns 0") \
  -c:a aac -b:a 128k "$input"
if [ "$profile" = ltp ]; then
  python3 "$root/tests/conformance/ltp_rewrite.py" "$input" "$tmp/ltp.aac" 1 30
  mv "$tmp/ltp.aac" "$input"
fi

. "$root/bench/timing.sh"
# The one-second excerpt: the first 1/300 of the bytes (whole frames up to the cut).
head -c $(($(stat -c %s "$input") / 300)) "$input" > "$tmp/excerpt.aac"
time_decoders "$tmp" "$runs" 300 "$input" "$tmp/excerpt.aac" \
  "zemdec=$zemdec @IN@ /dev/null" \
  "ffmpeg_aac=ffmpeg -v error -threads 1 -c:a aac -i @IN@ -f null -" \
  "ffmpeg_aac_fixed=ffmpeg -v error -threads 1 -c:a aac_fixed -i @IN@ -f null -" \
  "faad=faad -q -o /dev/null @IN@"
