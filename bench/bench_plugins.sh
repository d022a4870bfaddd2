#!/usr/bin/env bash
# Hosted plugins: CPU time per 512-frame buffer of a three-effect chain (mda Overdrive, swh
# amp run once a channel, mda Delay) in `wavelocker-tool process`, against the reference
# offline host lv2file running the same three plugins one after another in blocks of 512;
# then the time to scan every installed plugin (`wavelocker-tool units`), and the check a
# plugin gets in a child process before the program first loads it (`check-unit`).
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/plugins"
private_xdg "$D/xdg"
cd "$D"

SECONDS_LONG=300
RATE=44100
BUFFER=512
OD=http://drobilla.net/plugins/mda/Overdrive
AMP=http://plugin.org.uk/swh-plugins/amp
DELAY=http://drobilla.net/plugins/mda/Delay

sox -n -r $RATE -b 32 -e floating-point -c 2 long.wav synth $SECONDS_LONG sine 440 pinknoise vol 0.4
sox long.wav left.wav remix 1
sox long.wav right.wav remix 2

cpu() {
  local best="" t
  for _ in 1 2 3; do
    /usr/bin/time -o "$D/time.out" -f '%U %S' "$@" >/dev/null 2>&1
    t=$(awk '{print $1 + $2}' "$D/time.out")
    if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" = 1 ]; then best=$t; fi
  done
  printf '%.3f' "$best"
}
reference_chain() {
  lv2file -b $BUFFER -i long.wav -o r1.wav $OD
  lv2file -b $BUFFER -i r1.wav -o r2.wav $DELAY
  lv2file -b $BUFFER -i left.wav -o a1.wav $AMP
  lv2file -b $BUFFER -i right.wav -o a2.wav $AMP
}
export -f reference_chain
export BUFFER OD AMP DELAY

ours=$(cpu "$TOOL" process long.wav out.wav --effect $OD --effect $AMP --effect $DELAY)
ref=$(cpu bash -c reference_chain)
buffers=$((SECONDS_LONG * RATE / BUFFER))
echo "three effects, ${SECONDS_LONG} s stereo: wavelocker ${ours} s, lv2file ${ref} s (ratio $(ratio "$ours" "$ref"))"
echo "  per 512-frame buffer: wavelocker $(echo "$ours * 1000000 / $buffers" | bc -l | xargs printf '%.1f') us," \
     "lv2file $(echo "$ref * 1000000 / $buffers" | bc -l | xargs printf '%.1f') us (buffer lasts 11610 us)"
count=$("$TOOL" units | wc -l)
scan=$(seconds "$TOOL" units)
echo "plugin scan: $count plugins in ${scan} s (tool start included)"
check=$(seconds "$TOOL" check-unit $OD --frames $BUFFER)
echo "first load check in a child process: ${check} s (once per plugin version, tool start included)"
