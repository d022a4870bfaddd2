#!/usr/bin/env bash
# Recording a long 96 kHz 32-bit stereo WAVE take on a private dummy JACK server while the
# disk is throttled (the take's writer stalls 700 ms of every second): frames lost (target 0),
# peak memory of a 1-minute against a 10-minute take (target: flat), and CPU per 512-frame
# buffer of the recording path, as a share of the buffer's 5.3 ms.
set -euo pipefail
. "$(dirname "$0")/common.sh"
TOOL="$BIN/wavelocker-tool"
D="$WORK/record"
private_xdg "$D/xdg"
cd "$D"

RATE=96000
BUFFER=512
SHORT=60
LONG=${BENCH_RECORD_SECONDS:-600}
STALL_MS=700

if ! command -v jackd >/dev/null; then
  echo "record: jackd missing, skipped"
  exit 0
fi
JACKD=""
REF=""
stop_server() {
  [ -z "$REF" ] || { kill -KILL "$REF" 2>/dev/null || true; wait "$REF" 2>/dev/null || true; REF=""; }
  [ -z "$JACKD" ] || { kill "$JACKD" 2>/dev/null || true; wait "$JACKD" 2>/dev/null || true; JACKD=""; }
}
trap stop_server EXIT
export JACK_DEFAULT_SERVER="wlbench-record-$$"
JACK_NO_AUDIO_RESERVATION=1 jackd -n "$JACK_DEFAULT_SERVER" --no-realtime -d dummy -r $RATE -p $BUFFER >server.log 2>&1 &
JACKD=$!
if ! jack_wait -s "$JACK_DEFAULT_SERVER" -w -t 20 >/dev/null 2>&1; then
  echo "record: jackd did not come up (a JACK install takes at most 8 servers at once)"
  exit 1
fi
# jack_simple_client (a sine on two ports) beside it: how often the server finds a trivial
# client late on this machine, for contrast with ours.
jack_simple_client >/dev/null 2>&1 &
REF=$!

# take SECONDS: records; prints "frames dropouts cpu_seconds peak_kib"
take() {
  rm -f "take$1.wav"
  WAVELOCKER_TAKE_WRITER_STALL_MS=$STALL_MS /usr/bin/time -o time.out -f '%U %S %M' \
    "$TOOL" record "take$1.wav" --seconds "$1" --format 0 --bits 32 --channels 2 --samplerate $RATE >out.txt 2>err.txt
  local frames dropouts
  frames=$(sed -n 's/^frames: \([0-9]*\), dropouts: \([0-9]*\)$/\1/p' out.txt)
  dropouts=$(sed -n 's/^frames: \([0-9]*\), dropouts: \([0-9]*\)$/\2/p' out.txt)
  [ -n "$frames" ] || { echo "record: no frame count" >&2; cat err.txt >&2; exit 1; }
  echo "$frames $dropouts $(awk '{print $1 + $2, $3}' time.out)"
}

late() { grep -a -c "client = $1 was not finished" server.log || true; }
read -r short_frames short_drops short_cpu short_kib <<<"$(take $SHORT)"
read -r long_frames long_drops long_cpu long_kib <<<"$(take "$LONG")"
on_disk=$(soxi -s "take$LONG.wav")
wanted=$((LONG * RATE))
lost=$((wanted > long_frames ? wanted - long_frames : 0))
echo "record ${LONG} s at $RATE Hz, 32-bit stereo, writer stalled ${STALL_MS} ms a second:" \
  "$long_frames frames written ($on_disk in the file), $lost frames short of ${LONG} s," \
  "$long_drops dropouts (server xruns and ring overflows) over both takes; cycles the server found late:" \
  "wavelocker $(late Wavelocker), jack_simple_client beside it $(late jack_simple_client)," \
  "the server's own $(grep -a -c 'JackTimedDriver::Process XRun' server.log || true)"
echo "record peak memory: ${short_kib} KiB for ${SHORT} s, ${long_kib} KiB for ${LONG} s, ratio $(ratio "$long_kib" "$short_kib")"
buffers=$(echo "($LONG - $SHORT) * $RATE / $BUFFER" | bc -l)
buffer_us=$(echo "$BUFFER * 1000000 / $RATE" | bc -l)
per_buffer=$(echo "($long_cpu - $short_cpu) * 1000000 / $buffers" | bc -l)
printf 'record CPU per %d-frame buffer (engine, meter, ring and writer): %.2f us, %.3f %% of %.2f ms\n' \
  $BUFFER "$per_buffer" "$(echo "$per_buffer * 100 / $buffer_us" | bc -l)" "$(echo "$buffer_us / 1000" | bc -l)"
