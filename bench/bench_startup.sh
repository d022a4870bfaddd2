#!/usr/bin/env bash
# Start-up of the command line tool: `wavelocker-tool info` on a short WAVE and on an MP3
# (described from the information cache after its first look; that first look, which loads
# the codec module, is measured on its own), best of twenty runs. Goal: 20 ms or less.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/startup"
mkdir -p "$D"
private_xdg "$D/xdg"
cd "$D"
sox -n -r 44100 -b 16 -c 2 short.wav synth 1 sine 440
ffmpeg -v quiet -y -i short.wav -b:a 128k short.mp3

# best_ms CMD...: wall-clock milliseconds of the best of twenty runs
best_ms() {
  local best="" t start end
  for _ in $(seq 20); do
    start=$(date +%s%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s%N)
    t=$(( (end - start) / 1000 ))
    if [ -z "$best" ] || [ "$t" -lt "$best" ]; then best=$t; fi
  done
  printf '%d.%03d' $((best / 1000)) $((best % 1000))
}

for f in short.wav short.mp3; do
  ms=$(best_ms "$TOOL" info "$f")
  ref=$(best_ms /bin/true)
  verdict=$(echo "$ms <= 20" | bc -l | sed 's/1/meets/;s/0/MISSES/')
  echo "info ${f##*.}: wavelocker-tool $ms ms (goal 20 ms: $verdict; starting /bin/true takes $ref ms)"
done
# A compressed file is described from the information cache once it was read; the first look
# loads the codecs. Each of these runs starts with an empty cache.
cold_mp3() { rm -rf "$XDG_CACHE_HOME/com.orvenic.Wavelocker/file-info"; "$TOOL" info short.mp3; }
echo "info mp3, first look (codecs loaded, empty cache): wavelocker-tool $(best_ms cold_mp3) ms"
