#!/usr/bin/env bash
# Reading the waveform of a 10-minute file against decoding the same file with ffmpeg.
set -euo pipefail
source "$(dirname "$0")/common.sh"
private_xdg "$WORK/waveform"
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

# A file replaced under its name (an export over it) after its old version was shown: the
# first look at the new version through the same path (its packets scanned anew, the old
# version's kept index passed over) against the first look at a fresh copy of it, and the
# looks after (through the index kept by the first).
cp "$mp3" "$WORK/replaced.mp3"
"$TOOL" waveform "$WORK/replaced.mp3" >/dev/null 2>&1
ffmpeg -v error -y -i "$wav" -t 300 -c:a libmp3lame -b:a 128k "$WORK/export.mp3"
mv "$WORK/export.mp3" "$WORK/replaced.mp3"
replaced=$(once "$TOOL" waveform "$WORK/replaced.mp3")
again=$(seconds "$TOOL" waveform "$WORK/replaced.mp3")
cp "$WORK/replaced.mp3" "$WORK/fresh.mp3"
fresh=$(once "$TOOL" waveform "$WORK/fresh.mp3")
printf 'waveform of a replaced file, first look %ss  of a fresh copy %ss  ratio %s;  later looks %ss\n' \
       "$replaced" "$fresh" "$(ratio "$replaced" "$fresh")" "$again"
