#!/usr/bin/env bash
# Regenerates the AAC conformance streams in tests/data/aac/ with FFmpeg's AAC encoder, from
# audio synthesised here, and derives the ADIF and multi-block ADTS variants from them.
# Usage: tests/conformance/make_aac_streams.sh [OUTDIR]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=${1:-$here/../data/aac}
mkdir -p "$out"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
ff() { ffmpeg -hide_banner -loglevel error -y "$@"; }

# Music-like material: two tones and a chirp over soft noise, slightly different per channel
# (intensity stereo and PNS at low rates), and a click every 250 ms (short windows).
signal() { # RATE CHANNELS SECONDS FILE [CHANNEL_LAYOUT]
  local rate=$1 ch=$2 secs=$3 file=$4 layout=${5:+:c=$5} exprs=() c
  for ((c = 0; c < ch; c++)); do
    exprs+=("0.25*sin(2*PI*(220+$c*55)*t)+0.12*sin(2*PI*(1750+$c*310)*t)+0.08*sin(2*PI*(300+2500*t)*t)+0.05*(random($c)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)")
  done
  local joined
  joined=$(IFS='|'; echo "${exprs[*]}")
  ff -f lavfi -i "aevalsrc=${joined}:s=${rate}:d=${secs}${layout}" -c:a pcm_s16le "$file"
}

encode() { # NAME RATE CHANNELS BITRATE [ENCODER OPTIONS...]
  local name=$1 rate=$2 ch=$3 br=$4; shift 4
  signal "$rate" "$ch" 1 "$tmp/$name.wav"
  ff -i "$tmp/$name.wav" -c:a aac -b:a "$br" "$@" -f adts "$out/$name.aac"
}

# AAC Main with the predictors on, long enough for a drifting predictor to show.
encode_main() { # NAME RATE CHANNELS BITRATE SECONDS
  local name=$1 rate=$2 ch=$3 br=$4 secs=$5
  signal "$rate" "$ch" "$secs" "$tmp/$name.wav"
  ff -i "$tmp/$name.wav" -c:a aac -profile:a aac_main -aac_pred 1 -aac_pns 0 -b:a "$br" \
    -f adts "$out/$name.aac"
}

# AAC LTP: FFmpeg's encoder writes the object type but never uses the predictor, so the test-side
# rewriter switches it on in a share of the long-window frames (seeded lags and flags).
encode_ltp() { # NAME RATE CHANNELS BITRATE SECONDS SEED
  local name=$1 rate=$2 ch=$3 br=$4 secs=$5 seed=$6
  signal "$rate" "$ch" "$secs" "$tmp/$name.wav"
  ff -i "$tmp/$name.wav" -c:a aac -profile:a aac_ltp -aac_ltp 1 -strict -2 -aac_pns 0 -b:a "$br" \
    -f adts "$tmp/$name.aac"
  python3 "$here/ltp_rewrite.py" "$tmp/$name.aac" "$out/$name.aac" "$seed" 30
}

encode_layout() { # NAME CHANNEL_LAYOUT CHANNELS BITRATE [ENCODER OPTIONS...]
  local name=$1 layout=$2 ch=$3 br=$4; shift 4
  signal 48000 "$ch" 1 "$tmp/$name.wav" "$layout"
  ff -i "$tmp/$name.wav" -c:a aac -b:a "$br" -aac_pns 0 "$@" -f adts "$out/$name.aac"
}

# Every sampling rate, stereo, at a moderate rate.
for rate in 8000 11025 12000 16000 22050 24000 32000 44100 48000 64000 88200 96000; do
  encode "stereo_${rate}" "$rate" 2 64k
done
encode mono_44100_low 44100 1 24k
encode mono_48000_high 48000 1 160k
encode stereo_44100_low 44100 2 32k
encode stereo_44100_high 44100 2 256k
encode stereo_44100_ms 44100 2 96k -aac_ms 1 -aac_is 0 -aac_pns 0
encode stereo_44100_nopns 44100 2 96k -aac_pns 0
encode surround_48000 48000 6 256k
# Without noise substitution, so that samples compare one to one with the references.
for rate in 8000 22050 48000 96000; do
  encode "stereo_${rate}_nopns" "$rate" 2 64k -aac_pns 0
done
encode mono_16000_nopns 16000 1 32k -aac_pns 0
encode surround_48000_nopns 48000 6 256k -aac_pns 0

# Channel configuration 7 (FFmpeg's encoder fills it with a back-surround 7.1), and the program
# config elements FFmpeg's encoder writes for other layouts (with its LFE as a side channel).
encode_layout surround71_48000_nopns 7.1 8 192k
for layout in 4.0 5.1 6.1 7.1; do
  encode_layout "pce_${layout/./}_48000_nopns" "$layout" $((${layout%.*} + ${layout#*.})) 192k -aac_pce 1
done

encode_main main_mono_44100_nopns 44100 1 64k 20
encode_main main_mono_22050_nopns 22050 1 32k 20
encode_main main_stereo_48000_nopns 48000 2 128k 8
encode_ltp ltp_mono_44100_nopns 44100 1 64k 20 1
encode_ltp ltp_stereo_48000_nopns 48000 2 128k 8 2

# ADIF and four raw data blocks per ADTS frame, repacked from one of the streams above.
python3 "$here/repack_aac.py" adif "$out/stereo_44100_nopns.aac" "$out/stereo_44100_nopns.adif"
python3 "$here/repack_aac.py" multiblock "$out/stereo_44100_nopns.aac" "$out/stereo_44100_nopns_4blocks.aac"
python3 "$here/repack_aac.py" adif "$out/main_mono_22050_nopns.aac" "$out/main_mono_22050_nopns.adif"
# Program config elements in the standard's element order, in front of the elements of the
# channel configuration 6 and 7 streams.
python3 "$here/repack_aac.py" pce 5.1 "$out/surround_48000_nopns.aac" "$out/repacked_pce_51_48000_nopns.aac"
for layout in 7.1 7.1wide; do
  python3 "$here/repack_aac.py" pce "$layout" "$out/surround71_48000_nopns.aac" \
    "$out/repacked_pce_${layout/./}_48000_nopns.aac"
done
