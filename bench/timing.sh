# Sourced by the whole-file benchmarks.
#   time_decoders TMPDIR RUNS SECONDS FULL EXCERPT NAME=COMMAND...
# Each COMMAND holds @IN@ where the input goes. Every command runs RUNS times on FULL (SECONDS of
# audio) and on EXCERPT (its first second), programs alternating so that drift hits all alike.
# Per program it prints the median times on both, their difference (the cost of SECONDS - 1
# seconds of audio, without start-up), and both ratios to the first program: per audio second
# (the figure that counts) and whole-process. ZEM_BENCH_CLOCK=cpu times the processes' user and
# system time instead of the wall clock, which other work on a shared machine disturbs less.
time_decoders() {
  local tmp=$1 runs=$2 seconds=$3 full=$4 excerpt=$5; shift 5
  local names=() commands=() spec r i which input start end
  for spec in "$@"; do
    names+=("${spec%%=*}")
    commands+=("${spec#*=}")
  done
  for i in "${!names[@]}"; do : > "$tmp/${names[$i]}.full"; : > "$tmp/${names[$i]}.excerpt"; done
  for ((r = 0; r < runs; r++)); do
    for which in full excerpt; do
      [ $which = full ] && input=$full || input=$excerpt
      for i in "${!names[@]}"; do
        if [ "${ZEM_BENCH_CLOCK:-wall}" = cpu ]; then # user + system time of the process
          { TIMEFORMAT="%3U %3S"; time ${commands[$i]//@IN@/$input} > /dev/null 2>&1 || true; } 2>&1 |
            awk '{ printf "%.4f\n", $1 + $2 }' >> "$tmp/${names[$i]}.$which"
          continue
        fi
        start=$(date +%s%N)
        ${commands[$i]//@IN@/$input} > /dev/null 2>&1 || true # a cut excerpt may end mid-frame
        end=$(date +%s%N)
        awk -v ns=$((end - start)) 'BEGIN { printf "%.4f\n", ns / 1e9 }' >> "$tmp/${names[$i]}.$which"
      done
    done
  done
  median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
  local f e f0 e0
  f0=$(median "$tmp/${names[0]}.full")
  e0=$(median "$tmp/${names[0]}.excerpt")
  printf '%-18s %9s %10s %9s %11s %13s %13s\n' program whole_s excerpt_s per_file_s realtime_x \
    "speed/${names[0]}" "whole/${names[0]}"
  for i in "${!names[@]}"; do
    f=$(median "$tmp/${names[$i]}.full")
    e=$(median "$tmp/${names[$i]}.excerpt")
    # speed relative to the first program: its per-audio time over this one's.
    awk -v n="${names[$i]}" -v f="$f" -v e="$e" -v f0="$f0" -v e0="$e0" -v s="$seconds" \
      'BEGIN { d = f - e; d0 = f0 - e0
               printf "%-18s %9.3f %10.3f %9.3f %11.0f %13.2f %13.2f\n", n, f, e, d, (s - 1) / d, (d > 0 ? d0 / d : 0), f0 / f }'
  done
}
