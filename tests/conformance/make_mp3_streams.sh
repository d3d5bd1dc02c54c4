#!/usr/bin/env bash
# Regenerates the MP3 conformance streams in tests/data/mp3/ with LAME from audio synthesised
# here: MPEG-1 and MPEG-2 rates, CBR and VBR, every channel mode, CRC, free format, and
# transients (LAME switches to short blocks only on transients).
# Usage: tests/conformance/make_mp3_streams.sh [OUTDIR]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=${1:-$here/../data/mp3}
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Tones, a chirp and noise, different per channel, with a click every 250 ms.
signal() { # RATE SECONDS FILE
  ffmpeg -hide_banner -loglevel error -y -f lavfi -i "aevalsrc=0.25*sin(2*PI*220*t)+0.12*sin(2*PI*1750*t)+0.08*sin(2*PI*(300+2500*t)*t)+0.05*(random(0)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)|0.2*sin(2*PI*275*t)+0.1*sin(2*PI*2060*t)+0.05*(random(1)-0.5)+0.4*lt(mod(t+0.1\,0.25)\,0.0015)*sin(2*PI*2500*t):s=$1:d=$2" -c:a pcm_s16le "$3"
}
enc() { # NAME RATE SECONDS LAME-OPTIONS...
  local name=$1 rate=$2 secs=$3; shift 3
  signal "$rate" "$secs" "$tmp/$name.wav"
  lame --quiet --noreplaygain "$@" "$tmp/$name.wav" "$out/$name.mp3"
}

enc mpeg1_44100_128_joint 44100 1 -b 128 -m j
enc mpeg1_48000_320_stereo 48000 1 -b 320 -m s
enc mpeg1_32000_32_mono 32000 1 -b 32 -m m
enc mpeg1_44100_vbr 44100 1 -V 2
enc mpeg1_44100_ms_forced 44100 1 -b 160 -m f
enc mpeg1_44100_dual 44100 1 -b 192 -m d
enc mpeg1_44100_crc 44100 1 -b 128 -p
enc mpeg1_44100_free 44100 1 --freeformat -b 200
enc mpeg2_22050_64_joint 22050 1 -b 64 -m j
enc mpeg2_24000_96_stereo 24000 1 -b 96 -m s
enc mpeg2_16000_24_mono 16000 1 -b 24 -m m
enc mpeg2_22050_vbr 22050 1 -V 5
