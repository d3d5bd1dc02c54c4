#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] zemdec_cli.sh ZEMDEC SAMPLE_DIR
# The sample decoder's command line: help, bundled samples, damaged and foreign input.
set -u
samples=$2
read -r -a zemdec <<< "${ZEM_RUN:-} $1"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail=0
expect() { # expect STATUS DESCRIPTION -- COMMAND...
  local want=$1 what=$2; shift 3
  "$@" > "$tmp/out" 2> "$tmp/err"; local got=$?
  if [ "$got" -ne "$want" ]; then
    echo "FAIL: $what: exit $got, expected $want"; cat "$tmp/out" "$tmp/err"; fail=1
  else
    echo "ok: $what"
  fi
}
expect 0 "--help" -- "${zemdec[@]}" --help
grep -q 'usage: zemdec' "$tmp/out" || { echo "FAIL: --help prints no usage"; fail=1; }
pushd "$tmp" > /dev/null; expect 0 "bundled samples" -- "${zemdec[@]}"; popd > /dev/null
grep -q '^summary: ' "$tmp/out" || { echo "FAIL: no summary line"; fail=1; }
# One WAV per sample: the two formats' samples share their stem.
for f in tone_stereo_44k.aac tone_stereo_44k.mp3; do
  [ "$(head -c 4 "$tmp/$f.wav")" = RIFF ] || { echo "FAIL: bundled $f not decoded to WAV"; fail=1; }
done
expect 0 "decode to a file" -- "${zemdec[@]}" "$samples/tone_stereo_44k.aac" "$tmp/a.wav"
# A pipe cannot be rewound: the header keeps the largest sizes; the audio equals the file's.
"${zemdec[@]}" "$samples/tone_stereo_44k.aac" - 2> "$tmp/err" | cat > "$tmp/piped.wav"
[ "$(od -An -tx1 -j40 -N4 "$tmp/piped.wav" | tr -d ' ')" = ffffffff ] || { echo "FAIL: piped data size"; fail=1; }
cmp -s <(tail -c +45 "$tmp/a.wav") <(tail -c +45 "$tmp/piped.wav") || { echo "FAIL: piped audio differs"; fail=1; }
expect 0 "--info on a sample" -- "${zemdec[@]}" --info "$samples/tone_stereo_44k.aac"
grep -q 'frame 0 @0: 44100 Hz, channel config 2, LC' "$tmp/out" || { echo "FAIL: first frame line"; fail=1; }
# SBR and PS live in fill elements: --info decodes to name them.
heaac=$samples/../tests/data/heaac/ps-s24-speech-16k.aac
expect 0 "--info on HE-AAC v2" -- "${zemdec[@]}" --info "$heaac"
grep -q 'tools: AAC core with SBR (output 24000 Hz, 2 channels) and parametric stereo' "$tmp/out" ||
  { echo "FAIL: --info names no SBR and PS"; fail=1; }
expect 0 "--sbr-lp on HE-AAC v2" -- "${zemdec[@]}" --sbr-lp "$heaac" "$tmp/lp.wav"
grep -q 'parametric stereo is left out' "$tmp/out" || { echo "FAIL: --sbr-lp does not note PS"; fail=1; }
expect 2 "unknown option" -- "${zemdec[@]}" --bogus
expect 2 "a directory" -- "${zemdec[@]}" "$tmp"
grep -q 'is a directory' "$tmp/err" || { echo "FAIL: directory not reported"; fail=1; }
# Write errors: a full device, and a regular file past the size limit (EFBIG once the signal
# is ignored), which must not be left behind truncated.
[ -w /dev/full ] && expect 2 "full device" -- "${zemdec[@]}" "$samples/tone_stereo_44k.aac" /dev/full
(trap '' XFSZ; ulimit -f 64; exec "${zemdec[@]}" "$samples/tone_stereo_44k.aac" "$tmp/big.wav") > /dev/null 2>&1
rc=$?; { [ $rc -eq 2 ] && [ ! -e "$tmp/big.wav" ]; } || { echo "FAIL: write error on a file: exit $rc"; fail=1; }
# Standard input goes to standard output unless that is a terminal; never to a file "-.wav".
(cd "$tmp" && "${zemdec[@]}" - < "$samples/tone_stereo_44k.aac" > "$tmp/stdin.wav" 2> /dev/null)
{ cmp -s "$tmp/stdin.wav" "$tmp/a.wav" && [ ! -e "$tmp/-.wav" ]; } || { echo "FAIL: stdin to stdout"; fail=1; }
if command -v script > /dev/null; then
  script -qec "${zemdec[*]} - < $samples/tone_stereo_44k.aac" /dev/null < /dev/null > "$tmp/tty" 2>&1; rc=$?
  { [ $rc -eq 2 ] && grep -q OUTPUT "$tmp/tty"; } || { echo "FAIL: stdin to a terminal: exit $rc"; cat "$tmp/tty"; fail=1; }
fi
expect 2 "missing file" -- "${zemdec[@]}" "$tmp/does-not-exist.aac"
head -c 3000 /dev/urandom | tr -d '\377' > "$tmp/noise.bin"
expect 2 "not AAC" -- "${zemdec[@]}" --info "$tmp/noise.bin"
head -c 10000 "$samples/tone_stereo_44k.aac" > "$tmp/cut.aac"
expect 1 "truncated" -- "${zemdec[@]}" --info "$tmp/cut.aac"
grep -q 'truncated' "$tmp/out" || { echo "FAIL: truncation not reported"; fail=1; }
expect 1 "decode truncated" -- "${zemdec[@]}" "$tmp/cut.aac" "$tmp/cut.wav"
grep -q 'error: frame .* at offset .* is truncated' "$tmp/out" || { echo "FAIL: truncated decode not reported"; fail=1; }
expect 2 "decode not AAC" -- "${zemdec[@]}" "$tmp/noise.bin" "$tmp/noise.wav"
# Corrupt bytes inside frames: reported, concealed, and decoding goes on to the end.
cp "$samples/tone_stereo_44k.aac" "$tmp/bad.aac"
printf '\x55\xaa\x55\xaa\x55\xaa\x55\xaa' | dd of="$tmp/bad.aac" bs=1 seek=4000 conv=notrunc 2> /dev/null
expect 1 "decode corrupted" -- "${zemdec[@]}" "$tmp/bad.aac" "$tmp/bad.wav"
[ "$(stat -c %s "$tmp/bad.wav")" = "$(stat -c %s "$tmp/a.wav")" ] || { echo "FAIL: concealment changed the length"; fail=1; }
{ head -c 5000 "$samples/tone_stereo_44k.aac"; printf 'garbage!'; tail -c +5001 "$samples/tone_stereo_44k.aac"; } > "$tmp/junk.aac"
expect 1 "garbage between frames" -- "${zemdec[@]}" --info "$tmp/junk.aac"
grep -q 'skipped .* bytes of non-ADTS data at offset' "$tmp/out" || { echo "FAIL: garbage not reported"; fail=1; }
# MP3: the bundled sample, its headers, damage, and what is not Layer III.
expect 0 "decode MP3" -- "${zemdec[@]}" "$samples/tone_stereo_44k.mp3" "$tmp/m.wav"
expect 0 "--info on MP3" -- "${zemdec[@]}" --info "$samples/tone_stereo_44k.mp3"
grep -q 'frame 1 @417: MPEG-1 Layer III, 44100 Hz, joint stereo, 128 kbit/s' "$tmp/out" || { echo "FAIL: MP3 frame line"; fail=1; }
cp "$samples/tone_stereo_44k.mp3" "$tmp/bad.mp3"
printf '\x55\xaa\x55\xaa\x55\xaa\x55\xaa\x55\xaa\x55\xaa' | dd of="$tmp/bad.mp3" bs=1 seek=5020 conv=notrunc 2> /dev/null
expect 1 "decode corrupted MP3" -- "${zemdec[@]}" "$tmp/bad.mp3" "$tmp/bad_m.wav"
grep -q 'error: frame [0-9]* at offset [0-9]*' "$tmp/out" || { echo "FAIL: MP3 damage not reported"; fail=1; }
[ "$(stat -c %s "$tmp/bad_m.wav")" = "$(stat -c %s "$tmp/m.wav")" ] || { echo "FAIL: MP3 concealment changed the length"; fail=1; }
head -c 20000 "$samples/tone_stereo_44k.mp3" > "$tmp/cut.mp3"
expect 1 "decode truncated MP3" -- "${zemdec[@]}" "$tmp/cut.mp3" "$tmp/cut_m.wav"
if command -v ffmpeg > /dev/null; then
  ffmpeg -v error -y -f lavfi -i "sine=d=0.5" -c:a mp2 -f mp2 "$tmp/layer2.mp3"
  expect 2 "Layer II refused" -- "${zemdec[@]}" "$tmp/layer2.mp3" "$tmp/l2.wav"
  grep -q 'not supported' "$tmp/out" "$tmp/err" || { echo "FAIL: Layer II not reported"; fail=1; }
fi
exit $fail
