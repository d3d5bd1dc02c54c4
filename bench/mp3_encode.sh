#!/usr/bin/env bash
# Times MP3 encoding per audio second and whole-process of one 300-second 44.1 kHz stereo WAV:
# zemenc at 128 kbit/s joint stereo against LAME (-b 128, no ReplayGain), alternating the programs
# run by run; the excerpt is the WAV's first second.
# Usage: bench/mp3_encode.sh [ZEMENC] [RUNS]   (default: build/apps/zemenc/zemenc, 5 runs)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
zemenc=${1:-$root/build/apps/zemenc/zemenc}
runs=${2:-5}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
music="0.25*sin(2*PI*220*t)+0.12*sin(2*PI*1750*t)+0.08*sin(2*PI*(300+20*t)*t)+0.05*(random(0)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)|0.25*sin(2*PI*275*t)+0.12*sin(2*PI*2060*t)+0.05*(random(1)-0.5)"
ffmpeg -v error -y -f lavfi -i "aevalsrc=$music:s=44100:d=300" -c:a pcm_s16le "$tmp/music.wav"
ffmpeg -v error -y -i "$tmp/music.wav" -t 1 -c:a pcm_s16le "$tmp/excerpt.wav"

. "$root/bench/timing.sh"
time_decoders "$tmp" "$runs" 300 "$tmp/music.wav" "$tmp/excerpt.wav" \
  "zemenc=$zemenc -q @IN@ /dev/null" \
  "lame=lame --quiet --noreplaygain -b 128 @IN@ /dev/null"
