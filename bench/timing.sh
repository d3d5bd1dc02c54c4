# Sourced by the whole-process benchmarks. time_decoders TMPDIR RUNS SECONDS NAME=COMMAND...
# runs the commands in turn RUNS times (alternating, so that drift hits all alike) and prints
# each one's median wall time, its speed in multiples of real time for SECONDS of audio, and
# its time relative to the first.
time_decoders() {
  local tmp=$1 runs=$2 seconds=$3; shift 3
  local names=() commands=() spec r i start end
  for spec in "$@"; do
    names+=("${spec%%=*}")
    commands+=("${spec#*=}")
  done
  for i in "${!names[@]}"; do : > "$tmp/${names[$i]}.times"; done
  for ((r = 0; r < runs; r++)); do
    for i in "${!names[@]}"; do
      start=$(date +%s%N)
      ${commands[$i]} > /dev/null 2>&1
      end=$(date +%s%N)
      awk -v ns=$((end - start)) 'BEGIN { printf "%.4f\n", ns / 1e9 }' >> "$tmp/${names[$i]}.times"
    done
  done
  median() { sort -n "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
  local base m
  base=$(median "$tmp/${names[0]}.times")
  printf '%-18s %10s %12s %14s\n' decoder median_s realtime_x "time/${names[0]}"
  for i in "${!names[@]}"; do
    m=$(median "$tmp/${names[$i]}.times")
    awk -v n="${names[$i]}" -v m="$m" -v b="$base" -v s="$seconds" \
      'BEGIN { printf "%-18s %10.3f %12.0f %14.2f\n", n, m, s / m, m / b }'
  done
}
