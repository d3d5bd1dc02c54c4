#!/usr/bin/env bash
# Times MP3 decoding per audio second and whole-process of one 300-second 44.1 kHz stereo 128 kbit/s file: zemdec
# against mpg123 (16-bit output to /dev/null) and FFmpeg's fixed-point and float decoders (one
# thread, null muxer), alternating the programs run by run; prints medians and ratios.
# Usage: bench/mp3_decode.sh [ZEMDEC] [RUNS]   (default: build/apps/zemdec/zemdec, 5 runs)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
zemdec=${1:-$root/build/apps/zemdec/zemdec}
runs=${2:-5}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
input=$tmp/music_300s.mp3
ffmpeg -v error -y -f lavfi -i "aevalsrc=0.25*sin(2*PI*220*t)+0.12*sin(2*PI*1750*t)+0.08*sin(2*PI*(300+20*t)*t)+0.05*(random(0)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)|0.25*sin(2*PI*275*t)+0.12*sin(2*PI*2060*t)+0.05*(random(1)-0.5):s=44100:d=300" \
  -c:a pcm_s16le "$tmp/music.wav"
lame --quiet -b 128 "$tmp/music.wav" "$input"

. "$root/bench/timing.sh"
# The one-second excerpt: the first 1/300 of the bytes (whole frames up to the cut).
head -c $(($(stat -c %s "$input") / 300)) "$input" > "$tmp/excerpt.mp3"
time_decoders "$tmp" "$runs" 300 "$input" "$tmp/excerpt.mp3" \
  "zemdec=$zemdec @IN@ /dev/null" \
  "mpg123=mpg123 -q -s @IN@" \
  "ffmpeg_mp3=ffmpeg -v error -threads 1 -c:a mp3 -i @IN@ -f null -" \
  "ffmpeg_mp3float=ffmpeg -v error -threads 1 -c:a mp3float -i @IN@ -f null -"
