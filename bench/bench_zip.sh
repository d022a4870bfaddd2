#!/usr/bin/env bash
# Zip and unzip of a 500 MiB folder of audio files against zip -r and unzip.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/zip"
mkdir -p "$D/Takes/Drums" "$D/Takes/Vocals"
export LC_ALL=C.UTF-8

# 20 files of 25 MiB: 16-bit stereo at 44.1 kHz, tones under noise, like real takes.
secs=148
for i in $(seq 1 10); do
  sox -n -r 44100 -b 16 -c 2 "$D/Takes/Drums/Take $i.wav" synth $secs sine $((100 * i)) pinknoise vol 0.3
  sox -n -r 44100 -b 16 -c 2 "$D/Takes/Vocals/Take $i.wav" synth $secs sine $((220 + 7 * i)) brownnoise vol 0.3
done
echo "folder: $(du -sm "$D/Takes" | cut -f1) MiB in $(find "$D/Takes" -type f | wc -l) files"

cd "$D"
ours_zip=$(seconds bash -c "rm -f Takes.zip; '$TOOL' zip Takes")
ref_zip=$(seconds bash -c "rm -f ref.zip; zip -r -q ref.zip Takes")
echo "zip:   wavelocker $ours_zip s, zip -r $ref_zip s, ratio $(ratio "$ours_zip" "$ref_zip")"
echo "size:  wavelocker $(stat -c %s Takes.zip) bytes, zip -r $(stat -c %s ref.zip) bytes"

mkdir -p ours ref
cp Takes.zip ours/
ours_unzip=$(seconds bash -c "rm -rf ours/Takes; '$TOOL' unzip ours/Takes.zip")
ref_unzip=$(seconds bash -c "rm -rf ref/Takes; unzip -q -o Takes.zip -d ref")
echo "unzip: wavelocker $ours_unzip s, unzip $ref_unzip s, ratio $(ratio "$ours_unzip" "$ref_unzip")"
diff -r Takes ours/Takes >/dev/null || { echo "unzip: extracted files differ"; exit 1; }
