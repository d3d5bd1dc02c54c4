#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] aac_conformance.sh ZEMDEC PCM_COMPARE DATA_DIR
# Decodes every AAC stream of DATA_DIR with zemdec and compares the PCM with FFmpeg's
# floating-point decoder (the reference) and, where it decodes at the stream's own rate, with
# FAAD2 (a second opinion, aligned for its one-frame priming delay). Streams without noise
# substitution (named *nopns* or *_ms*) must stay within 0.5 LSB RMS and 2 LSB per sample of
# the reference; the others, whose noise is random in every decoder, are compared by the
# energies of the scale-factor bands per frame (95th percentile within 0.2 dB; the energies come
# from a long-window MDCT on the frame grid, which matches the decoded spectrum exactly only in
# long-window frames, so the largest values, from eight-short frames, are reported, not gated). ADIF and multi-block ADTS streams, which FFmpeg cannot read or
# does not write, are compared with FFmpeg's decoding of the ADTS stream they were repacked from.
# Both outputs must also have the same channel count and WAV channel mask (0 for plain PCM).
# FFmpeg decodes with -strict 1 so that it reads channel configuration 7 as the standard does
# (C, Lc/Rc, L/R, Ls/Rs, LFE) instead of as a back-surround 7.1; FAAD2's second opinion is
# taken only where its channel mask is ours.
set -u
read -r -a zemdec <<< "${ZEM_RUN:-} $1"
read -r -a compare <<< "${ZEM_RUN:-} $2"
data=$3
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
command -v ffmpeg > /dev/null || { echo "ffmpeg is missing (scripts/setup.sh installs it)"; exit 1; }
rates=(96000 88200 64000 48000 44100 32000 24000 22050 16000 12000 11025 8000)
fail=0
# dwChannelMask of a WAVE_FORMAT_EXTENSIBLE file; for plain PCM the speakers it implies: front
# centre for mono, front left and right for stereo, none beyond (all writers put "fmt " first).
wav_mask() {
  [ "$(head -c 16 "$1" | tail -c 4)" = "fmt " ] || { echo unknown; return; }
  local channels
  channels=$(od -An -tu2 -j22 -N2 "$1" | tr -d ' ')
  if [ "$(od -An -tu2 -j20 -N2 "$1" | tr -d ' ')" = 65534 ]; then
    printf '0x%x\n' "$(od -An -tu4 -j40 -N4 "$1" | tr -d ' ')"
  else
    case $channels in 1) echo 0x4 ;; 2) echo 0x3 ;; *) echo 0x0 ;; esac
  fi
}
# Where FFmpeg's decoder leaves a layout unmapped that the standard's reading maps: FFmpeg's
# encoder lists the 4.0 centre after the front pair, and an odd front count still makes the one
# single element the centre (its channel order is the same, FL FR FC BC).
declare -A standard_mask=([pce_40_48000_nopns.aac]=0x107)
streams=("$data"/*.aac "$data"/*.adif)
if [ -n "${ZEM_SHORT_SWEEPS:-}" ]; then # sanitizer build: a sample of the streams
  streams=("$data/stereo_44100_nopns.aac" "$data/stereo_44100_nopns.adif" "$data/surround_48000.aac")
fi
printf '%-36s %-8s %s\n' stream against result
for s in "${streams[@]}"; do
  name=$(basename "$s")
  source=$s
  case $name in
    *.adif) source=${s%.adif}.aac ;;
    *_4blocks.aac) source=${s%_4blocks.aac}.aac ;;
  esac
  if ! "${zemdec[@]}" "$s" "$tmp/ours.wav" > "$tmp/log" 2>&1; then
    echo "FAIL: $name: zemdec reported errors"; cat "$tmp/log"; fail=1; continue
  fi
  ffmpeg -v error -y -strict 1 -i "$source" -c:a pcm_s16le "$tmp/ffmpeg.wav"
  rate=$(ffprobe -v error -select_streams a:0 -show_entries stream=sample_rate -of csv=p=0 "$source")
  sfi=0
  for i in "${!rates[@]}"; do [ "${rates[$i]}" = "$rate" ] && sfi=$i; done
  mask=$(wav_mask "$tmp/ours.wav")
  # A layout without speaker positions is said once; a mapped one is not.
  said=$(grep -c "names no WAV speaker layout" "$tmp/log")
  if [ "$said" != "$([ "$mask" = 0x0 ] && echo 1 || echo 0)" ]; then
    echo "FAIL: $name: channel mask $mask, told $said time(s) that the layout has no mask"; fail=1
  fi
  want=${standard_mask[$name]:-$(wav_mask "$tmp/ffmpeg.wav")}
  if [ "$mask" != "$want" ]; then
    echo "FAIL: $name: channel mask $mask, expected $want"; fail=1
  fi
  if ! line=$("${compare[@]}" "$tmp/ours.wav" "$tmp/ffmpeg.wav" --bands "$sfi"); then
    echo "FAIL: $name: not comparable with FFmpeg's output (channel counts differ?)"; fail=1; continue
  fi
  printf '%-36s %-8s %s mask=%s\n' "$name" ffmpeg "$line" "$mask"
  rms=$(sed -n 's/.*rms=\([0-9.]*\).*/\1/p' <<< "$line")
  max=$(sed -n 's/.* max=\([0-9]*\).*/\1/p' <<< "$line")
  p95=$(sed -n 's/.*band_frame_p95=\([0-9.]*\).*/\1/p' <<< "$line")
  case $name in
    *nopns*|*_ms*)
      awk -v r="$rms" -v m="$max" 'BEGIN { exit !(r <= 0.5 && m <= 2) }' ||
        { echo "FAIL: $name: beyond 0.5 LSB RMS or 2 LSB"; fail=1; } ;;
    *)
      awk -v p="$p95" 'BEGIN { exit !(p <= 0.2) }' ||
        { echo "FAIL: $name: band energies differ"; fail=1; } ;;
  esac
  # AAC Main: a predictor that drifts shows first at the end; the last second on its own.
  case $name in
    main_*)
      last=$(( $(stat -c %s "$tmp/ours.wav") / 2 / $(od -An -tu2 -j22 -N2 "$tmp/ours.wav") - rate ))
      for f in ours ffmpeg; do
        ffmpeg -v error -y -i "$tmp/$f.wav" -af "atrim=start_sample=$last" "$tmp/${f}_end.wav"
      done
      end=$("${compare[@]}" "$tmp/ours_end.wav" "$tmp/ffmpeg_end.wav")
      printf '%-36s %-8s %s\n' "$name" "last 1 s" "$end"
      awk -v r="$(sed -n 's/.*rms=\([0-9.]*\).*/\1/p' <<< "$end")" \
        -v m="$(sed -n 's/.* max=\([0-9]*\).*/\1/p' <<< "$end")" 'BEGIN { exit !(r <= 0.5 && m <= 2) }' ||
        { echo "FAIL: $name: its last second is beyond 0.5 LSB RMS or 2 LSB"; fail=1; } ;;
  esac
  # FAAD2 assumes implicit SBR below 32 kHz and then decodes at twice the rate.
  if command -v faad > /dev/null && [ "$rate" -ge 32000 ] && [ "$name" = "${name%_4blocks.aac}" ]; then
    if faad -q -o "$tmp/faad.wav" "$s" > /dev/null 2>&1 && [ -s "$tmp/faad.wav" ] &&
       [ "$(wav_mask "$tmp/faad.wav")" = "$mask" ]; then
      # (FAAD2 writes mono streams as two channels; those are not compared.)
      if second=$("${compare[@]}" "$tmp/faad.wav" "$tmp/ours.wav" --skip 1024 2> /dev/null); then
        printf '%-36s %-8s %s\n' "$name" faad "$second"
      fi
    fi
  fi
done
exit $fail
