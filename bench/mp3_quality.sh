#!/usr/bin/env bash
# Perceptual quality of zemenc against LAME: 20-second 44.1 kHz stereo signals (synthetic ones
# from FFmpeg's lavfi and excerpts of Debian's drascula-music), each encoded by zemenc -b 128
# (joint stereo), lame -b 128 and lame -b 112 (and zemenc -V 2 against lame -V 2 when zemenc
# takes -V), decoded gaplessly by mpg123 and measured by bench/nmr_meter.py: Total NMR (lower
# is better) and segmental SNR. Prints the table, the averages, the verdict against the targets
# (zemenc at 128 within 1 dB of LAME at 128 on average; below LAME at 112 on every signal) and,
# for signals where zemenc at 128 is more than 1 dB worse than LAME at 128, the NMR by region.
# Usage: bench/mp3_quality.sh [ZEMENC] [WORKDIR]
#   (default: build/apps/zemenc/zemenc; a WORKDIR given is kept, with every WAV, MP3 and result)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
zemenc=${1:-$root/build/apps/zemenc/zemenc}
if [ -n "${2:-}" ]; then
  work=$2
  mkdir -p "$work"
else
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
fi
meter=(/usr/bin/python3 "$root/bench/nmr_meter.py")
music_dir=/usr/share/scummvm/drascula/audio
for tool in ffmpeg lame mpg123; do
  command -v $tool > /dev/null || { echo "mp3_quality: $tool is missing (scripts/setup.sh)"; exit 1; }
done
[ -x "$zemenc" ] || { echo "mp3_quality: no zemenc at $zemenc"; exit 1; }
# A copy, so that a rebuild while this runs changes nothing.
cp "$zemenc" "$work/zemenc"
zemenc=$work/zemenc
start=$SECONDS

# --- Signals -------------------------------------------------------------------------------
make_lavfi() { # NAME LAVFI-GRAPH (stereo, 44.1 kHz, 20 s)
  ffmpeg -v error -y -f lavfi -i "$2" -t 20 -ar 44100 -ac 2 -c:a pcm_s16le "$work/$1.wav"
}
P='2*PI'
# Chords that change every 2 s (A, D, E, F#m), partials 1..3, 5 Hz vibrato; kick every 0.5 s,
# noise hi-hat on the off-beats.
root_hz='220*pow(2\,(if(eq(mod(floor(t/2)\,4)\,1)\,5\,if(eq(mod(floor(t/2)\,4)\,2)\,7\,if(eq(mod(floor(t/2)\,4)\,3)\,9\,0))))/12)'
voice() { # RATIO AMPLITUDE: one chord note with three partials and vibrato
  local ph="$P*$root_hz*$1*(t+0.0016*sin($P*5*t))"
  echo "$2*(sin($ph)+0.4*sin(2*$ph)+0.2*sin(3*$ph))"
}
drums='0.5*exp(-30*mod(t\,0.5))*sin($P*55*mod(t\,0.5)*(1+2*exp(-40*mod(t\,0.5))))+0.15*exp(-60*mod(t+0.25\,0.5))*(random(0)-0.5)'
drums=${drums//\$P/$P}
chords="$(voice 1 0.12)+$(voice 1.26 0.09)+$(voice 1.5 0.08)+$drums"
chords_r="$(voice 1 0.10)+$(voice 1.26 0.10)+$(voice 2 0.05)+0.8*($drums)"
make_lavfi chords "aevalsrc=$chords|$chords_r:s=44100:d=20"
# Castanet-like clicks: sharp decaying noise bursts at two unrelated rates over near silence,
# plus single-sample clicks.
castanets='0.7*exp(-300*mod(t\,0.173))*(random(0)-0.5)+0.5*exp(-500*mod(t+0.05\,0.291))*(random(1)-0.5)*sin($P*2500*t)+0.6*lt(mod(t\,0.619)\,0.00003)'
castanets=${castanets//\$P/$P}
make_lavfi castanets "aevalsrc=$castanets|0.8*($castanets):s=44100:d=20"
# Speech-like: a glottal pulse train (110..150 Hz) through three formants that move between
# vowels every 0.3 s, with 4 Hz syllable envelopes.
f0='(130+20*sin($P*0.7*t))'
tp="(mod(t*$f0\,1)/$f0)" # time since the last pulse
vowel='mod(floor(t/0.3)\,3)'
F1="if(eq($vowel\,0)\,730\,if(eq($vowel\,1)\,270\,530))"
F2="if(eq($vowel\,0)\,1090\,if(eq($vowel\,1)\,2290\,1840))"
F3="if(eq($vowel\,0)\,2440\,if(eq($vowel\,1)\,3010\,2480))"
speech="(0.5+0.5*sin($P*4*t))*(0.5*exp(-400*$tp)*sin($P*$F1*$tp)+0.3*exp(-600*$tp)*sin($P*$F2*$tp)+0.15*exp(-900*$tp)*sin($P*$F3*$tp))"
speech=${speech//\$P/$P}
make_lavfi speech "aevalsrc=$speech|$speech:s=44100:d=20"
make_lavfi tones "aevalsrc=0.5*sin($P*1000*t)+0.01*sin($P*7000*t)|0.3*sin($P*440*t)+0.2*sin($P*3520*t):s=44100:d=20"
ffmpeg -v error -y -f lavfi -i "anoisesrc=c=pink:a=0.25:r=44100:d=20:seed=1" \
  -f lavfi -i "anoisesrc=c=pink:a=0.25:r=44100:d=20:seed=2" \
  -filter_complex amerge=inputs=2 -c:a pcm_s16le "$work/pink.wav"
ffmpeg -v error -y -f lavfi -i "anoisesrc=c=white:a=0.1:r=44100:d=20:seed=3" \
  -f lavfi -i "anoisesrc=c=white:a=0.1:r=44100:d=20:seed=4" \
  -filter_complex amerge=inputs=2 -c:a pcm_s16le "$work/white.wav"
# Logarithmic sweep 20 Hz .. 20 kHz over the 20 s, the right channel a quarter period behind.
k=$(awk 'BEGIN { printf "%.9f", log(1000) }')
make_lavfi sweep "aevalsrc=0.4*sin($P*20*20/$k*(exp(t/20*$k)-1))|0.4*cos($P*20*20/$k*(exp(t/20*$k)-1)):s=44100:d=20"
signals=(chords castanets speech tones pink white sweep)
for track in 2 5 14 26; do
  if [ -f "$music_dir/track$track.ogg" ]; then
    ffmpeg -v error -y -ss 30 -t 20 -i "$music_dir/track$track.ogg" -ar 44100 -ac 2 \
      -c:a pcm_s16le "$work/music$track.wav"
    signals+=("music$track")
  fi
done
[ -f "$music_dir/track2.ogg" ] || echo "note: drascula-music is not installed; synthetic signals only"

# --- Encoders --------------------------------------------------------------------------------
settings=(zem128 lame128 lame112)
declare -A cmd=(
  [zem128]="$zemenc -q -b 128 @IN@ @OUT@"
  [lame128]="lame --quiet --noreplaygain -b 128 @IN@ @OUT@"
  [lame112]="lame --quiet --noreplaygain -b 112 @IN@ @OUT@"
)
if "$zemenc" -h 2>&1 | grep -q -- '-V'; then
  settings+=(zemV2 lameV2)
  cmd[zemV2]="$zemenc -q -V 2 @IN@ @OUT@"
  cmd[lameV2]="lame --quiet --noreplaygain -V 2 @IN@ @OUT@"
fi

declare -A nmr snr kbps regions
for s in "${signals[@]}"; do
  in=$work/$s.wav
  for e in "${settings[@]}"; do
    mp3=$work/$s.$e.mp3
    out=$work/$s.$e.wav
    c=${cmd[$e]//@IN@/$in}
    ${c//@OUT@/$mp3}
    mpg123 -q -w "$out" "$mp3"
    result=$("${meter[@]}" --bands "$in" "$out" 2> "$work/$s.$e.log")
    echo "$result" > "$work/$s.$e.txt"
    if [ -s "$work/$s.$e.log" ]; then sed "s/^/$s $e: /" "$work/$s.$e.log"; fi
    line1=$(echo "$result" | head -n 1)
    nmr[$s.$e]=$(echo "$line1" | sed -E 's/.*nmr_total_db=([^ ]+).*/\1/')
    snr[$s.$e]=$(echo "$line1" | sed -E 's/.*seg_snr_db=([^ ]+).*/\1/')
    lag=$(echo "$line1" | sed -E 's/.*lag=([^ ]+).*/\1/')
    [ "$lag" = 0 ] || echo "WARNING: $s $e decodes $lag samples late (gapless tag ignored?)"
    kbps[$s.$e]=$(awk -v b="$(stat -c %s "$mp3")" 'BEGIN { printf "%.1f", b * 8 / 20 / 1000 }')
    regions[$s.$e]=$(echo "$result" | tail -n 1)
  done
done

# --- Table -----------------------------------------------------------------------------------
echo
echo "Total NMR (dB, lower is better) / segmental SNR (dB); 20 s, 44.1 kHz stereo"
printf '%-10s' signal
for e in "${settings[@]}"; do printf ' %15s' "$e"; done
echo
for s in "${signals[@]}"; do
  printf '%-10s' "$s"
  for e in "${settings[@]}"; do printf ' %7.2f /%6.2f' "${nmr[$s.$e]}" "${snr[$s.$e]}"; done
  echo
done
declare -A avg
printf '%-10s' average
for e in "${settings[@]}"; do
  n=$(for s in "${signals[@]}"; do echo "${nmr[$s.$e]}"; done | awk '{ t += $1 } END { printf "%.2f", t / NR }')
  r=$(for s in "${signals[@]}"; do echo "${snr[$s.$e]}"; done | awk '{ t += $1 } END { printf "%.2f", t / NR }')
  avg[$e]=$n
  printf ' %7.2f /%6.2f' "$n" "$r"
done
echo
printf '%-10s' 'kbit/s'
for e in "${settings[@]}"; do
  k=$(for s in "${signals[@]}"; do echo "${kbps[$s.$e]}"; done | awk '{ t += $1 } END { printf "%.1f", t / NR }')
  printf ' %15s' "$k"
done
echo "   (average file bit rate)"

# --- Verdict ---------------------------------------------------------------------------------
echo
gap=$(awk -v z="${avg[zem128]}" -v l="${avg[lame128]}" 'BEGIN { printf "%+.2f", z - l }')
if awk -v g="$gap" 'BEGIN { exit !(g <= 1.0) }'; then verdict=MET; else verdict=MISSED; fi
echo "target 1, zemenc 128 within 1 dB of lame 128 on average: $verdict (zemenc - lame = $gap dB)"
worse=()
for s in "${signals[@]}"; do
  if ! awk -v z="${nmr[$s.zem128]}" -v l="${nmr[$s.lame112]}" 'BEGIN { exit !(z < l) }'; then
    worse+=("$s (${nmr[$s.zem128]} vs ${nmr[$s.lame112]})")
  fi
done
if [ ${#worse[@]} -eq 0 ]; then
  echo "target 2, zemenc 128 below lame 112 on every signal: MET"
else
  echo "target 2, zemenc 128 below lame 112 on every signal: MISSED on ${#worse[@]}: ${worse[*]}"
fi
if [ -n "${cmd[zemV2]:-}" ]; then
  echo "VBR: zemenc -V 2 ${avg[zemV2]} dB, lame -V 2 ${avg[lameV2]} dB (bit rates in the table)"
fi

# Where zemenc at 128 trails LAME at 128 by more than 1 dB: NMR by frequency region (Hz).
header=0
for s in "${signals[@]}"; do
  if awk -v z="${nmr[$s.zem128]}" -v l="${nmr[$s.lame128]}" 'BEGIN { exit !(z > l + 1) }'; then
    [ $header = 1 ] || { echo; echo "NMR by region (dB), zemenc 128 / lame 128:"; header=1; }
    paste -d' ' <(echo "${regions[$s.zem128]}" | tr ' ' '\n') \
      <(echo "${regions[$s.lame128]}" | tr ' ' '\n' | sed 's/.*=//') |
      awk -v s="$s" '{ split($1, a, "="); sub("nmr_", "", a[1]); out = out sprintf(" %s:%s/%s", a[1], a[2], $2) }
                     END { print s ":" out }'
  fi
done
echo
echo "took $((SECONDS - start)) s"
