#!/usr/bin/env bash
# Pasteboard exchange on a 10-minute 44.1 kHz 16-bit stereo WAVE: the mapped copy and the paste
# back into a new file against cp, the decoding copy of a 10-minute MP3 against sox; and peak
# memory of a 1-minute against a 1-hour copy and paste.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/pasteboard"
private_xdg "$D/xdg"
mkdir -p "$D/out"
cd "$D"

sox -n -r 44100 -b 16 -c 2 ten.wav synth 600 sine 440 pinknoise vol 0.4
sox -n -r 44100 -c 2 -C 192 ten.mp3 synth 600 sine 440 pinknoise vol 0.4

report() {  # NAME OURS REFNAME REF
  echo "$1: wavelocker $2 s, $3 $4 s, ratio $(ratio "$2" "$4")"
}

ours=$(seconds "$TOOL" copy --mapped ten.wav)
ref=$(seconds cp ten.wav cp.wav)
report "mapped copy" "$ours" "cp" "$ref"

ours=$(seconds "$TOOL" copy ten.mp3)
ref=$(seconds sox ten.mp3 -r 44100 -b 16 sox.wav)
report "decoding copy MP3" "$ours" "sox to 16-bit WAV" "$ref"

"$TOOL" copy --mapped ten.wav >/dev/null
ours=$(seconds bash -c "rm -f out/*; '$TOOL' paste out")
ref=$(seconds cp ten.wav cp2.wav)
report "paste into a new file" "$ours" "cp" "$ref"

sox -n -r 44100 -b 16 -c 2 minute.wav synth 60 sine 440 vol 0.4
sox -n -r 44100 -b 16 -c 2 hour.wav synth 3600 sine 440 vol 0.4
for op in "copy --mapped" "copy" "copy --general"; do
  m=$(peak_kib "$TOOL" $op minute.wav)
  h=$(peak_kib "$TOOL" $op hour.wav)
  echo "peak memory $op: 1 minute $m KiB, 1 hour $h KiB, difference $((h - m)) KiB"
done
"$TOOL" copy --mapped minute.wav >/dev/null
m=$(peak_kib bash -c "rm -f out/*; exec '$TOOL' paste out")
"$TOOL" copy --mapped hour.wav >/dev/null
h=$(peak_kib bash -c "rm -f out/*; exec '$TOOL' paste out")
echo "peak memory paste: 1 minute $m KiB, 1 hour $h KiB, difference $((h - m)) KiB"
