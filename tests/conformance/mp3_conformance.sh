#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] mp3_conformance.sh ZEMDEC PCM_COMPARE DATA_DIR
# Decodes every MP3 stream of DATA_DIR with zemdec, gapless and with --no-gapless, and compares
# the PCM with mpg123's in the matching mode at offset 0 and the same length. Every stream must
# meet the ISO/IEC 11172-4 full-accuracy limits: RMS difference below 2^-15/sqrt(12) of full
# scale (0.289 LSB at 16 bits) and no sample off by more than 2^-14 (2 LSB). FFmpeg (which
# reads no free format) is printed as a second opinion.
set -u
read -r -a zemdec <<< "${ZEM_RUN:-} $1"
read -r -a compare <<< "${ZEM_RUN:-} $2"
data=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
command -v mpg123 > /dev/null || { echo "mpg123 is missing (scripts/setup.sh installs it)"; exit 1; }
fail=0
streams=("$data"/*.mp3)
if [ -n "${ZEM_SHORT_SWEEPS:-}" ]; then # sanitizer build: a sample of the streams
  streams=("$data/mpeg1_44100_128_joint.mp3" "$data/mpeg2_22050_vbr.mp3" "$data/mpeg1_44100_free.mp3")
fi
printf '%-28s %-10s %-8s %s\n' stream mode against result
for s in "${streams[@]}"; do
  name=$(basename "$s")
  for mode in gapless no-gapless; do
    flag=(); [ "$mode" = no-gapless ] && flag=(--no-gapless)
    if ! "${zemdec[@]}" "${flag[@]}" "$s" "$tmp/ours.wav" > "$tmp/log" 2>&1; then
      echo "FAIL: $name ($mode): zemdec reported errors"; cat "$tmp/log"; fail=1; continue
    fi
    mpg123 -q "${flag[@]}" -w "$tmp/mpg123.wav" "$s" 2> /dev/null
    line=$("${compare[@]}" "$tmp/ours.wav" "$tmp/mpg123.wav")
    printf '%-28s %-10s %-8s %s\n' "$name" "$mode" mpg123 "$line"
    ours=$(sed -n 's/.*samples=\([0-9]*\).*/\1/p' <<< "$line")
    mine=$(( ($(stat -c %s "$tmp/ours.wav") - 44) )); theirs=$(( ($(stat -c %s "$tmp/mpg123.wav") - 44) ))
    [ "$mine" = "$theirs" ] || { echo "FAIL: $name ($mode): $mine bytes of audio, mpg123 $theirs"; fail=1; }
    rms=$(sed -n 's/.*rms=\([0-9.]*\).*/\1/p' <<< "$line")
    max=$(sed -n 's/.* max=\([0-9]*\).*/\1/p' <<< "$line")
    awk -v r="$rms" -v m="$max" -v n="$ours" 'BEGIN { exit !(r < 0.289 && m <= 2 && n > 0) }' ||
      { echo "FAIL: $name ($mode): beyond the full-accuracy limits"; fail=1; }
    # FFmpeg trims the encoder delay as well; it is compared with the gapless output.
    if [ "$mode" = gapless ] && command -v ffmpeg > /dev/null && [ "$name" = "${name%_free.mp3}" ]; then
      ffmpeg -v error -y -i "$s" -c:a pcm_s16le "$tmp/ffmpeg.wav" 2> /dev/null &&
        printf '%-28s %-10s %-8s %s\n' "$name" "$mode" ffmpeg "$("${compare[@]}" "$tmp/ours.wav" "$tmp/ffmpeg.wav")"
    fi
  done
done
exit $fail
