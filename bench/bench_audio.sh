#!/usr/bin/env bash
# Offline audio operations on a 10-minute 44.1 kHz 16-bit stereo WAVE against sox and ffmpeg,
# and peak memory of a 1-minute against a 1-hour file.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/audio"
private_xdg "$D/xdg"
cd "$D"

sox -n -r 44100 -b 16 -c 2 ten.wav synth 600 sine 440 pinknoise vol 0.4
sox -n -r 48000 -b 16 -c 2 ten48.wav synth 600 sine 440 pinknoise vol 0.4

report() {  # NAME OURS REFNAME REF
  echo "$1: wavelocker $2 s, $3 $4 s, ratio $(ratio "$2" "$4")"
}

ours=$(seconds "$TOOL" normalize ten.wav n.wav)
ref=$(seconds sox --norm ten.wav n_sox.wav)
report "normalize" "$ours" "sox --norm" "$ref"

ours=$(seconds "$TOOL" trim ten.wav t.wav --start 60 --end 540 --fade-in 5 --fade-out 5)
ref=$(seconds sox ten.wav t_sox.wav trim 60 480 fade t 5 480 5)
report "trim+fades" "$ours" "sox trim fade" "$ref"

ours=$(seconds bash -c "rm -f d.wav; '$TOOL' decode ten48.wav d.wav")
ref=$(seconds sox ten48.wav -r 44100 -b 16 d_sox.wav rate)
report "decode 48k" "$ours" "sox rate" "$ref"

ours=$(seconds bash -c "rm -f c.m4a; '$TOOL' convert ten.wav c.m4a --format 3 --channels 2 --samplerate 44100 --bitrate 128000")
ref=$(seconds ffmpeg -v error -y -i ten.wav -c:a aac -b:a 128k c_ffmpeg.m4a)
report "convert AAC 128k" "$ours" "ffmpeg aac" "$ref"

# Memory stays flat whatever the length: one minute against one hour.
sox -n -r 44100 -b 16 -c 2 minute.wav synth 60 sine 440 vol 0.4
sox -n -r 44100 -b 16 -c 2 hour.wav synth 3600 sine 440 vol 0.4
for op in normalize convert; do
  extra=()
  [ "$op" = convert ] && extra=(--format 3)
  rm -f m.out h.out
  m=$(peak_kib "$TOOL" "$op" minute.wav m.out "${extra[@]}")
  h=$(peak_kib "$TOOL" "$op" hour.wav h.out "${extra[@]}")
  echo "peak memory $op: 1 minute $m KiB, 1 hour $h KiB, difference $((h - m)) KiB"
done
# An M4A file's sample table is written at the end, so it grows with the length whoever writes it.
m=$(peak_kib ffmpeg -v error -y -i minute.wav -c:a aac -b:a 128k m_ffmpeg.m4a)
h=$(peak_kib ffmpeg -v error -y -i hour.wav -c:a aac -b:a 128k h_ffmpeg.m4a)
echo "peak memory ffmpeg aac (reference): 1 minute $m KiB, 1 hour $h KiB, difference $((h - m)) KiB"
