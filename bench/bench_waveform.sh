#!/usr/bin/env bash
# Reading the waveform of a 10-minute file against decoding the same file with ffmpeg.
set -euo pipefail
source "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
TARGET=1.3

wav="$WORK/waveform-10min.wav"
mp3="$WORK/waveform-10min.mp3"
ffmpeg -v error -y -f lavfi -i "sine=frequency=440:duration=600:sample_rate=44100" \
       -f lavfi -i "anoisesrc=duration=600:sample_rate=44100:amplitude=0.3" \
       -filter_complex "[0][1]amerge=inputs=2" -c:a pcm_s16le "$wav"
ffmpeg -v error -y -i "$wav" -c:a libmp3lame -b:a 192k "$mp3"

for f in "$wav" "$mp3"; do
  ours=$(seconds "$TOOL" waveform "$f")
  ref=$(seconds ffmpeg -v error -i "$f" -f null -)
  r=$(ratio "$ours" "$ref")
  verdict=ok
  if [ "$(echo "$r > $TARGET" | bc -l)" = 1 ]; then verdict="above target"; fi
  printf 'waveform %-4s ours %ss  ffmpeg -f null %ss  ratio %s (target <= %s) %s\n' \
         "${f##*.}" "$ours" "$ref" "$r" "$TARGET" "$verdict"
done

# A file replaced under its name (an export over it): the waveform of the new version, read
# through the same path, against reading a fresh copy of it.
cp "$mp3" "$WORK/replaced.mp3"
ffmpeg -v error -y -i "$wav" -t 300 -c:a libmp3lame -b:a 128k "$WORK/export.mp3"
mv "$WORK/export.mp3" "$WORK/replaced.mp3"
replaced=$(seconds "$TOOL" waveform "$WORK/replaced.mp3")
cp "$WORK/replaced.mp3" "$WORK/fresh.mp3"
fresh=$(seconds "$TOOL" waveform "$WORK/fresh.mp3")
printf 'waveform of a replaced file %ss  of a fresh copy %ss  ratio %s\n' "$replaced" "$fresh" "$(ratio "$replaced" "$fresh")"
