#!/usr/bin/env bash
# Regenerates the short MP3 streams that the Layer III bit-stream tests walk frame by frame
# (tests/data/mp3_bitstream/): synthesised audio with sharp clicks, so that LAME switches to
# short blocks, encoded by LAME at both versions, with and without CRC, mono and stereo.
# Usage: scripts/make_mp3_bitstream_vectors.sh [OUTDIR]
set -euo pipefail
out=${1:-$(dirname "$0")/../tests/data/mp3_bitstream}
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }

# 0.6 s: a chord with a chirp on the right, and a loud click every 0.15 s.
src="0.3*sin(2*PI*330*t)+0.2*sin(2*PI*1250*t)+0.8*lt(mod(t\,0.15)\,0.0015)"
for rate in 44100 22050 32000 16000; do
  ff -f lavfi -i "aevalsrc=${src}|0.3*sin(2*PI*(300+3000*t)*t)+0.8*lt(mod(t+0.07\,0.15)\,0.0015):s=${rate}:d=0.6" \
     -c:a pcm_s16le "$tmp/in_${rate}.wav"
done
l() { lame --quiet --noreplaygain "$@"; }
l -b 128 -m j "$tmp/in_44100.wav" "$out/mpeg1_44k_joint.mp3"
l -b 64 -m m -a "$tmp/in_32000.wav" "$out/mpeg1_32k_mono.mp3"
l -V 2 -m s -p "$tmp/in_44100.wav" "$out/mpeg1_44k_vbr_crc.mp3"
l -b 32 -m j -p "$tmp/in_22050.wav" "$out/mpeg2_22k_joint_crc.mp3"
l -b 24 -m m -a "$tmp/in_16000.wav" "$out/mpeg2_16k_mono.mp3"
