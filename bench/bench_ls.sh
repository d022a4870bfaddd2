#!/usr/bin/env bash
# Listing and sorting a folder of 10,000 files: wavelocker-tool ls against ls -l. Goal: a
# ratio of 0.8 or less.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/ls/Takes"
mkdir -p "$D"
export LC_ALL=C.UTF-8
private_xdg "$WORK/ls"

# 10,000 files with numbered names (numeric ordering matters), sizes and dates all different.
# perl-base is part of every Debian system; one process instead of 20,000.
perl -e 'for my $i (1 .. 10000) {
  my $f = "$ARGV[0]/Take $i.wav";
  open(my $h, ">", $f) or die "$f: $!"; print $h "\0" x ($i % 997); close $h;
  my $t = 1600000000 + ($i * 37) % 100003; utime($t, $t, $f);
}' "$D"
echo "folder: $(find "$D" -type f | wc -l) files"

# best_pair OURS_CMD -- REF_CMD: the best wall-clock seconds of each over ten runs taken in
# turn, so that a busy moment of the machine weighs on both alike.
best_pair() {
  local ours=() ref=() side=ours best_o="" best_r="" t start
  for arg in "$@"; do
    if [ "$arg" = "--" ]; then side=ref; continue; fi
    if [ $side = ours ]; then ours+=("$arg"); else ref+=("$arg"); fi
  done
  for _ in $(seq 10); do
    start=$(date +%s%N); "${ours[@]}" >/dev/null 2>&1; t=$(( $(date +%s%N) - start ))
    if [ -z "$best_o" ] || [ "$t" -lt "$best_o" ]; then best_o=$t; fi
    start=$(date +%s%N); "${ref[@]}" >/dev/null 2>&1; t=$(( $(date +%s%N) - start ))
    if [ -z "$best_r" ] || [ "$t" -lt "$best_r" ]; then best_r=$t; fi
  done
  printf '%d.%06d %d.%06d\n' $((best_o / 1000000000)) $((best_o / 1000 % 1000000)) \
    $((best_r / 1000000000)) $((best_r / 1000 % 1000000))
}

for mode in name date size; do
  case $mode in name) flag="" ;; date) flag="-t" ;; size) flag="-S" ;; esac
  read -r ours ref < <(best_pair "$TOOL" ls "$D" --sort "$mode" -- ls -l $flag "$D")
  r=$(ratio "$ours" "$ref")
  verdict=$(echo "$r <= 0.8" | bc -l | sed 's/1/meets/;s/0/MISSES/')
  echo "ls by $mode: wavelocker $ours s, ls -l $flag $ref s, ratio $r (goal 0.8: $verdict)"
done
[ "$("$TOOL" ls "$D" | head -n 1)" = "10000 ITEMS" ] || { echo "ls: wrong item count"; exit 1; }

# Entry status is read with one call per entry: count the status calls of one listing.
if command -v strace >/dev/null; then
  calls=$(strace -f -c -e trace=stat,lstat,fstat,newfstatat,statx -o "$WORK/ls/strace.txt" "$TOOL" ls "$D" >/dev/null 2>&1 \
          && awk '$NF ~ /stat/ {n += $4} END {print n}' "$WORK/ls/strace.txt")
  echo "status calls for 10000 entries: wavelocker $calls"
fi
