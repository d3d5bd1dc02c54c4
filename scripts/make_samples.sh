#!/usr/bin/env bash
# Regenerates the bundled sample streams from synthesised audio: AAC with FFmpeg's encoder,
# MP3 with LAME, and a short WAV for zemenc.
# Usage: scripts/make_samples.sh [OUTDIR]   (default: samples/)
set -euo pipefail
out=${1:-$(dirname "$0")/../samples}
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }

# Two seconds of stereo: a 440 Hz tone on the left, a rising chirp on the right, with a click
# train mixed in so the encoder meets transients.
ff -f lavfi -i "aevalsrc=0.4*sin(2*PI*440*t)+0.2*lt(mod(t\,0.5)\,0.002)|0.4*sin(2*PI*(200+900*t)*t):s=44100:d=2" \
   -c:a pcm_s16le "$tmp/tone.wav"
# One second of it as the sample input of zemenc.
ff -i "$tmp/tone.wav" -t 1 -c:a pcm_s16le "$out/tone_stereo_44k.wav"
ff -i "$tmp/tone.wav" -c:a aac -b:a 96k -f adts "$out/tone_stereo_44k.aac"
lame --quiet --noreplaygain -b 128 "$tmp/tone.wav" "$out/tone_stereo_44k.mp3"
