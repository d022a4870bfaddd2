#!/usr/bin/env bash
# The file player with fades: CPU time per 512-frame buffer as a share of the buffer's 11.6 ms,
# rendering a 10-minute file (reading it and writing the result included) against sox doing
# the same fade; then xruns while playing through a private dummy JACK server at 64 frames
# (and at 512 for contrast).
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/engine"
private_xdg "$D/xdg"
cd "$D"

SECONDS_LONG=600
RATE=44100
BUFFER=512
SMALL_BUFFER=64
PLAY_SECONDS=20

sox -n -r $RATE -b 16 -c 2 ten.wav synth $SECONDS_LONG sine 440 pinknoise vol 0.4
sox -n -r $RATE -b 16 -c 2 short.wav synth $PLAY_SECONDS sine 440 vol 0.4

# cpu CMD...: user + system seconds of the best of three runs
cpu() {
  local best="" t
  for _ in 1 2 3; do
    /usr/bin/time -o "$D/time.out" -f '%U %S' "$@" >/dev/null 2>&1
    t=$(awk '{print $1 + $2}' "$D/time.out")
    if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" = 1 ]; then best=$t; fi
  done
  printf '%.3f' "$best"
}

# Start-up (Qt, the General MIDI SoundFont) is taken off by a run of a twentieth of a second.
ours_all=$(cpu "$TOOL" render ten.wav /dev/null --fade-in 5 --fade-out 5)
ours_start=$(cpu "$TOOL" render ten.wav /dev/null --fade-in 5 --fade-out 5 --seconds 0.05)
# sox in blocks of 512 frames (its buffer is in bytes of 32-bit samples).
sox_all=$(cpu sox --buffer $((BUFFER * 2 * 4)) ten.wav -b 32 -e floating-point -t wav /dev/null fade t 5 $SECONDS_LONG 5)
sox_start=$(cpu sox --buffer $((BUFFER * 2 * 4)) ten.wav -b 32 -e floating-point -t wav /dev/null trim 0 0.05)

buffers=$((SECONDS_LONG * RATE / BUFFER))
buffer_us=$(echo "$BUFFER * 1000000 / $RATE" | bc -l)
ours_us=$(echo "($ours_all - $ours_start) * 1000000 / $buffers" | bc -l)
sox_us=$(echo "($sox_all - $sox_start) * 1000000 / $buffers" | bc -l)
printf 'player with fades, CPU per %d-frame buffer: wavelocker %.2f us (%.3f %% of %.1f ms), sox fade %.2f us (%.3f %%), ratio %s\n' \
  $BUFFER "$ours_us" "$(echo "$ours_us * 100 / $buffer_us" | bc -l)" "$(echo "$buffer_us / 1000" | bc -l)" \
  "$sox_us" "$(echo "$sox_us * 100 / $buffer_us" | bc -l)" "$(ratio "$ours_us" "$sox_us")"

# Real-time play on a private dummy server without real-time scheduling, so the machine's
# load shows. jack_simple_client (a sine on two ports) runs beside it on the same server as the
# reference; the server's log tells which client was late in a cycle.
if ! command -v jackd >/dev/null; then
  echo "xruns: jackd missing, skipped"
  exit 0
fi
JACKD=""
REF=""
stop_all() {
  [ -z "$REF" ] || { kill -KILL "$REF" 2>/dev/null || true; wait "$REF" 2>/dev/null || true; REF=""; }
  [ -z "$JACKD" ] || { kill "$JACKD" 2>/dev/null || true; wait "$JACKD" 2>/dev/null || true; JACKD=""; }
}
trap stop_all EXIT
late() { grep -a -c "client = $2 was not finished" "$1" || true; }
driver_late() { grep -a -c "JackTimedDriver::Process XRun" "$1" || true; }

for frames in $SMALL_BUFFER $BUFFER; do
  export JACK_DEFAULT_SERVER="wlbench-$$-$frames"
  JACK_NO_AUDIO_RESERVATION=1 jackd -n "$JACK_DEFAULT_SERVER" --no-realtime -d dummy -r $RATE -p "$frames" >server.log 2>&1 &
  JACKD=$!
  jack_wait -s "$JACK_DEFAULT_SERVER" -w -t 10 >/dev/null 2>&1
  jack_simple_client >/dev/null 2>&1 &
  REF=$!
  out=$("$TOOL" play short.wav --buffer "$frames" 2>/dev/null)
  stop_all
  xruns=$(echo "$out" | sed -n 's/^xruns: //p')
  [ -n "$xruns" ] || { echo "play: no xrun count"; exit 1; }
  echo "play $PLAY_SECONDS s at $frames frames: $xruns xruns reported to wavelocker;" \
    "cycles late: wavelocker $(late server.log Wavelocker), jack_simple_client beside it $(late server.log jack_simple_client);" \
    "the server's own late cycles $(driver_late server.log)"
done
