#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] heaac_variants.sh ZEMDEC PCM_COMPARE DATA_DIR
# HE-AAC streams in other packings and cut up, made at test time from tests/data/heaac: ADIF
# and four raw data blocks per ADTS frame (repack_aac.py) must decode to the same bits as the
# ADTS stream; a start in the middle and the stream twice back to back are compared with FFmpeg
# like the streams themselves; a stream cut in the middle of its last frame must report the
# error and keep every complete frame's samples. The PS stream starts where an SBR header is
# sent: where PS data begin after frames decoded without them, zemdec's hybrid filters hold the
# signal's history and FFmpeg's are empty (8 LSB RMS over two frames).
set -u
read -r -a zemdec <<< "${ZEM_RUN:-} $1"
compare=$2
data=$3
here=$(dirname "$0")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail=0
for name in he-s24-speech-28k ps-s22-music-20k he-m44-quiet2loud-40k; do
  s=$data/$name.aac
  "${zemdec[@]}" "$s" "$tmp/ref.wav" > /dev/null 2>&1 || { echo "FAIL: $name"; fail=1; continue; }
  for packing in adif multiblock; do
    python3 "$here/repack_aac.py" $packing "$s" "$tmp/$packing.aac"
    if ! "${zemdec[@]}" "$tmp/$packing.aac" "$tmp/out.wav" > "$tmp/log" 2>&1 ||
       ! cmp -s "$tmp/ref.wav" "$tmp/out.wav"; then
      echo "FAIL: $name as $packing differs from the ADTS stream"; cat "$tmp/log"; fail=1
    else
      echo "$name $packing: same bits as ADTS"
    fi
  done
  python3 "$here/heaac_variants.py" truncate "$s" "$tmp/cut.aac"
  "${zemdec[@]}" "$tmp/cut.aac" "$tmp/cut.wav" > "$tmp/log" 2>&1
  rc=$?
  # All frames but the last are whole: their samples (2048 per frame and channel) must match.
  bytes=$(( $(stat -c %s "$tmp/ref.wav") - 2048 * 2 * 2 ))
  if [ $rc -ne 1 ] || ! grep -q "truncated" "$tmp/log" ||
     ! cmp -s -n "$bytes" "$tmp/ref.wav" "$tmp/cut.wav"; then
    echo "FAIL: $name cut in its last frame (status $rc)"; cat "$tmp/log"; fail=1
  else
    echo "$name truncated: error reported, complete frames kept"
  fi
done
variants=("midstart 7 he-s24-speech-28k" "midstart 20 ps-s22-music-20k" "twice he-m22-music-16k")
for v in "${variants[@]}"; do
  read -r -a args <<< "$v"
  name=${args[-1]}
  out="$tmp/${args[0]}_$name.aac"
  python3 "$here/heaac_variants.py" "${args[@]:0:${#args[@]}-1}" "$data/$name.aac" "$out"
done
cp "$data/MANIFEST.tsv" "$tmp/"
for f in "$tmp"/midstart_*.aac "$tmp"/twice_*.aac; do
  base=$(basename "$f")
  kind=$(awk -F'\t' -v f="${base#*_}" '$1 == f { print $2 }' "$data/MANIFEST.tsv")
  printf '%s\t%s\n' "$base" "$kind" >> "$tmp/MANIFEST.tsv"
done
ZEM_NO_LP=1 bash "$here/heaac_conformance.sh" "$1" "$compare" "$tmp" "$tmp"/midstart_*.aac "$tmp"/twice_*.aac ||
  fail=1
exit $fail
