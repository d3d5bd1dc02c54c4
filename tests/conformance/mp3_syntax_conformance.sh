#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] mp3_syntax_conformance.sh MP3_SYNTAX_STREAMS ZEMDEC PCM_COMPARE
# Writes the Layer III streams of syntax LAME never produces (intensity stereo, mixed blocks,
# the mixed flag on start and stop blocks; see mp3_syntax_streams.cpp), decodes them with zemdec
# and compares the PCM at the ISO/IEC 11172-4 full-accuracy limits (RMS difference below
# 0.289 LSB, no sample off by more than 2 LSB) with the double-precision model's decoding of the
# same values, and with mpg123 except for MPEG-2 intensity stereo (where mpg123 decodes some
# granules differently from ISO/IEC 13818-3: the model is the reference there).
set -u
read -r -a writer <<< "${ZEM_RUN:-} $1"
read -r -a zemdec <<< "${ZEM_RUN:-} $2"
read -r -a compare <<< "${ZEM_RUN:-} $3"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
command -v mpg123 > /dev/null || { echo "mpg123 is missing (scripts/setup.sh installs it)"; exit 1; }
"${writer[@]}" "$tmp" || { echo "FAIL: the stream writer failed"; exit 1; }
fail=0
within() { # COMPARE-LINE: the full-accuracy limits, on a non-empty comparison
  local rms max n
  rms=$(sed -n 's/.*rms=\([0-9.]*\).*/\1/p' <<< "$1")
  max=$(sed -n 's/.* max=\([0-9]*\).*/\1/p' <<< "$1")
  n=$(sed -n 's/.*samples=\([0-9]*\).*/\1/p' <<< "$1")
  awk -v r="$rms" -v m="$max" -v n="$n" 'BEGIN { exit !(r < 0.289 && m <= 2 && n > 0) }'
}
printf '%-18s %-8s %s\n' stream against result
for s in "$tmp"/*.mp3; do
  name=$(basename "$s" .mp3)
  if ! "${zemdec[@]}" "$s" "$tmp/ours.wav" > "$tmp/log" 2>&1; then
    echo "FAIL: $name: zemdec reported errors"; cat "$tmp/log"; fail=1; continue
  fi
  refs=(model)
  [ "$name" != mpeg2_intensity ] && refs+=(mpg123)
  for ref in "${refs[@]}"; do
    if [ "$ref" = model ]; then
      cp "$tmp/$name.model.wav" "$tmp/ref.wav"
    else
      mpg123 -q -w "$tmp/ref.wav" "$s" 2> /dev/null
    fi
    line=$("${compare[@]}" "$tmp/ours.wav" "$tmp/ref.wav")
    printf '%-18s %-8s %s\n' "$name" "$ref" "$line"
    [ "$(stat -c %s "$tmp/ours.wav")" = "$(stat -c %s "$tmp/ref.wav")" ] ||
      { echo "FAIL: $name: $(stat -c %s "$tmp/ours.wav") bytes, $ref $(stat -c %s "$tmp/ref.wav")"; fail=1; }
    within "$line" || { echo "FAIL: $name against $ref: beyond the full-accuracy limits"; fail=1; }
  done
done
exit $fail
