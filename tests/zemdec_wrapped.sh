#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] zemdec_wrapped.sh ZEMDEC REPO
# Streams as files carry them: zeros, junk or tags in front, tags at the end. Each wrapped copy
# of a bundled stream must decode to exactly the WAV of the clean stream, for MP3 and ADTS.
set -u
repo=$2
read -r -a zemdec <<< "${ZEM_RUN:-} $1"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail=0

hex4() { printf '\\x%02x\\x%02x\\x%02x\\x%02x' "$@"; }
le32() { printf "$(hex4 $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24)))"; }
synchsafe() { printf "$(hex4 $(($1 >> 21 & 127)) $(($1 >> 14 & 127)) $(($1 >> 7 & 127)) $(($1 & 127)))"; }
# junk N SEED: N bytes of a fixed-seed LCG with false headers in them: a valid MPEG-1 Layer III
# header at 50 and 250, a valid ADTS header (frame length 256) at 150 and 450, and lone sync
# bytes at every 64th byte. None of them is followed by a header where its length points.
junk() {
  local n=$1 x=$2 i s="" hx
  for ((i = 0; i < n; i++)); do
    x=$(((x * 1103515245 + 12345) & 0x7fffffff))
    case $i in
      50 | 250) s+='\xff\xfb\x90\x64'; i=$((i + 3)) ;;
      150 | 450) s+='\xff\xf1\x50\x80\x20\x1f\xfc'; i=$((i + 6)) ;;
      *) if ((i % 64 == 63)); then s+='\xff\xf3'; i=$((i + 1)); else printf -v hx '\\x%02x' $((x >> 16 & 255)); s+=$hx; fi ;;
    esac
  done
  printf "$s" | head -c "$n"
}
id3v2() { # id3v2 BODY_BYTES [footer]: a tag whose body is junk
  local flags=0; [ "${2:-}" = footer ] && flags=16
  printf "ID3\x04\x00$(printf '\\x%02x' $flags)"; synchsafe "$1"; junk "$1" 7
  [ "$flags" = 16 ] && { printf '3DI\x04\x00\x10'; synchsafe "$1"; }
  true
}
id3v1() { printf 'TAG%-30s%-30s%-30s2026%-30s\x00' title artist album comment; }
apev2() { # header, one item whose value holds sync-like bytes, footer
  local value=300 size=$((8 + 6 + 300 + 32))
  for flags in $((0xA0000000)) $((0x80000000)); do
    [ "$flags" = $((0x80000000)) ] && { le32 $value; le32 0; printf 'Title\x00'; junk $value 3; }
    printf APETAGEX; le32 2000; le32 $size; le32 1; le32 "$flags"; le32 0; le32 0
  done
}
lyrics3() { local body='IND0000210LYR00010la la la!!'; printf 'LYRICSBEGIN%s%06dLYRICS200' "$body" $((11 + ${#body})); }

# name | what goes in front | what goes at the end | the warning expected (none: no "skipped")
cases=(
  "zeros|head -c 2048 /dev/zero||skipped 2048 bytes of non-audio data at offset 0"
  "junk|junk 700 12345||skipped 700 bytes of non-audio data at offset 0"
  "id3v2|id3v2 10230||"
  "repeated-id3v2|id3v2 1000; id3v2 500||"
  "id3v1||id3v1|"
  "apev2||apev2|"
  "lyrics3-id3v1||lyrics3; id3v1|"
  "appended-id3v2||id3v2 600 footer|"
  "appended-id3v2-nofooter||id3v2 600|"
  "all|id3v2 10230; junk 700 99|apev2; lyrics3; id3v1|skipped 700 bytes of non-audio data at offset 10240"
)
streams=("$repo/samples/tone_stereo_44k.mp3" "$repo/tests/data/mp3/mpeg1_44100_free.mp3"
  "$repo/tests/data/mp3/mpeg2_22050_vbr.mp3" "$repo/samples/tone_stereo_44k.aac"
  "$repo/tests/data/aac/stereo_44100_nopns_4blocks.aac" "$repo/tests/data/aac/mono_16000_nopns.aac")
for c in "${cases[@]}"; do
  IFS='|' read -r name front back warning <<< "$c"
  eval "$front" > "$tmp/front_$name"; eval "$back" > "$tmp/back_$name"
done
for s in "${streams[@]}"; do
  b=$(basename "$s")
  "${zemdec[@]}" --no-gapless "$s" "$tmp/clean.wav" > /dev/null 2>&1 || { echo "FAIL: $b: clean decode"; fail=1; }
  for c in "${cases[@]}"; do
    IFS='|' read -r name front back warning <<< "$c"
    cat "$tmp/front_$name" "$s" "$tmp/back_$name" > "$tmp/w_$b"
    "${zemdec[@]}" --no-gapless "$tmp/w_$b" "$tmp/w.wav" > "$tmp/log" 2>&1; rc=$?
    got=$(grep -c skipped "$tmp/log")
    if [ $rc -ne 0 ] || ! cmp -s "$tmp/clean.wav" "$tmp/w.wav"; then
      echo "FAIL: $b with $name: exit $rc, output differs from the clean stream's"; head -5 "$tmp/log"; fail=1
    elif [ -n "$warning" ] && { [ "$got" -ne 1 ] || ! grep -q "warning: $warning" "$tmp/log"; }; then
      echo "FAIL: $b with $name: expected one warning '$warning'"; cat "$tmp/log"; fail=1
    elif [ -z "$warning" ] && [ "$got" -ne 0 ]; then
      echo "FAIL: $b with $name: tags reported as skipped data"; cat "$tmp/log"; fail=1
    else
      echo "ok: $b with $name"
    fi
  done
  # Junk between frames 4 and 5: skipped, reported once as an error; the audio is unchanged.
  off=$("${zemdec[@]}" --info "$s" | sed -n 's/^frame 5 @\([0-9]*\):.*/\1/p')
  { head -c "$off" "$s"; junk 300 5; tail -c +$((off + 1)) "$s"; } > "$tmp/m_$b"
  "${zemdec[@]}" --no-gapless "$tmp/m_$b" "$tmp/w.wav" > "$tmp/log" 2>&1; rc=$?
  if [ $rc -ne 1 ] || ! cmp -s "$tmp/clean.wav" "$tmp/w.wav" || [ "$(grep -c skipped "$tmp/log")" -ne 1 ] ||
     ! grep -q "warning: skipped 300 bytes of non-audio data at offset $off" "$tmp/log"; then
    echo "FAIL: $b with junk between frames: exit $rc"; head -5 "$tmp/log"; fail=1
  else
    echo "ok: $b with junk between frames"
  fi
done
exit $fail
