#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] zemenc_conformance.sh ZEMENC ZEMDEC PCM_COMPARE
# Encodes synthetic signals (music-like mixtures, clicks, a tone, noise, a sweep, silence, a
# clipped full-scale square) at several rates, constant and variable, and modes (intensity stereo
# at 56 and 96 kbit/s) with zemenc, then requires a clean
# decode by mpg123, by FFmpeg with CRC checking and by zemdec, and zemdec within the ISO/IEC
# 11172-4 full-accuracy limits of mpg123 (RMS below 0.289 LSB, no sample off by more than 2).
# The tone is 997 Hz: one whose period is a whole number of samples repeats the same few values
# near a rounding tie every period, and the comparison of two decoders' rounded output would
# measure only those (mpg123 against its own float output exceeds the limit on 1 kHz at 48 kHz).
# The stream's Info tag gives the encoder delay and padding: mpg123's and zemdec's gapless
# output has exactly the input's length.
set -u
read -r -a zemenc <<< "${ZEM_RUN:-} $1"
read -r -a zemdec <<< "${ZEM_RUN:-} $2"
read -r -a compare <<< "${ZEM_RUN:-} $3"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
for tool in mpg123 ffmpeg; do
  command -v $tool > /dev/null || { echo "$tool is missing (scripts/setup.sh installs it)"; exit 1; }
done
signals=(
  "music|0.25*sin(2*PI*220*t)+0.12*sin(2*PI*1750*t)+0.05*(random(0)-0.5)+0.5*lt(mod(t\,0.25)\,0.0015)*sin(2*PI*3000*t)|0.25*sin(2*PI*275*t)+0.1*(random(1)-0.5)"
  "clicks|0.9*lt(mod(t\,0.1)\,0.0005)|0.7*lt(mod(t+0.05\,0.1)\,0.0005)"
  "tone|0.5*sin(2*PI*997*t)|0.5*sin(2*PI*997*t)"
  "noise|0.3*(random(0)-0.5)|0.3*(random(1)-0.5)"
  "sweep|0.4*sin(2*PI*(50+4000*t)*t)|0.4*sin(2*PI*(60+4000*t)*t)"
  "silence|0|0"
  "clipped|1.2*sgn(sin(2*PI*330*t))|-1.2*sgn(sin(2*PI*330*t))"
  "speech|0.4*sin(2*PI*4*t)*sin(2*PI*4*t)*(random(0)-0.5)*sin(2*PI*180*t)|0.3*(random(1)-0.5)*lt(mod(t\,0.4)\,0.2)")
# rate|channels|zemenc arguments
settings=("44100|2|-b 128" "44100|1|-b 32" "48000|2|-m s -b 320" "32000|2|--crc -m f -b 96"
          "44100|2|-m m -b 64 --crc" "44100|2|-b 56" "48000|2|-V 2" "48000|1|-V 9 --crc")
if [ -n "${ZEM_SHORT_SWEEPS:-}" ]; then # sanitizer build: a sample
  signals=("${signals[0]}" "${signals[1]}"); settings=("${settings[0]}" "${settings[3]}")
fi
fail=0
printf '%-8s %-28s %s\n' signal settings result
for sig in "${signals[@]}"; do
  IFS='|' read -r name left right <<< "$sig"
  for set in "${settings[@]}"; do
    IFS='|' read -r rate ch args <<< "$set"
    expr="$left|$right"; [ "$ch" = 1 ] && expr="$left"
    ffmpeg -v error -y -f lavfi -i "aevalsrc=$expr:s=$rate:d=2" -c:a pcm_s16le "$tmp/in.wav"
    read -r -a a <<< "$args"
    if ! "${zemenc[@]}" -q "${a[@]}" "$tmp/in.wav" "$tmp/out.mp3" 2> "$tmp/log"; then
      echo "FAIL: $name ($args): zemenc failed"; cat "$tmp/log"; fail=1; continue
    fi
    errs=$(mpg123 -q -w "$tmp/mpg123.wav" "$tmp/out.mp3" 2>&1)
    [ -z "$errs" ] || { echo "FAIL: $name ($args): mpg123 says $errs"; fail=1; }
    errs=$(ffmpeg -v error -err_detect crccheck -i "$tmp/out.mp3" -f null - 2>&1)
    [ -z "$errs" ] || { echo "FAIL: $name ($args): FFmpeg says $errs"; fail=1; }
    if ! "${zemdec[@]}" "$tmp/out.mp3" "$tmp/ours.wav" > "$tmp/log" 2>&1; then
      echo "FAIL: $name ($args): zemdec reported errors"; cat "$tmp/log"; fail=1; continue
    fi
    outCh=$ch; [ "${args#*-m m}" != "$args" ] && outCh=1
    want=$((2 * rate * outCh * 2)) # bytes of two seconds
    for out in mpg123 ours; do
      got=$(( $(stat -c %s "$tmp/$out.wav") - 44 ))
      [ "$got" = "$want" ] || { echo "FAIL: $name ($args): $out gives $got bytes of audio, not $want"; fail=1; }
    done
    line=$("${compare[@]}" "$tmp/ours.wav" "$tmp/mpg123.wav")
    printf '%-8s %-28s %s\n' "$name" "$args" "$line"
    rms=$(sed -n 's/.*rms=\([0-9.]*\).*/\1/p' <<< "$line")
    max=$(sed -n 's/.* max=\([0-9]*\).*/\1/p' <<< "$line")
    awk -v r="$rms" -v m="$max" 'BEGIN { exit !(r < 0.289 && m <= 2) }' ||
      { echo "FAIL: $name ($args): beyond the full-accuracy limits"; fail=1; }
  done
done
exit $fail
