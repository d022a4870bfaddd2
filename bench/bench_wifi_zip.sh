#!/usr/bin/env bash
# A folder of 1 GiB downloaded from the WiFi drive as a zip archive against `zip -0 -r` writing
# the same folder to a file, in the same run; and the server's memory while the archive streams.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/common.sh"
BIN=${BIN:-$(cd "${1:-build/bin}" && pwd)}
WORK=${WORK:-$(mktemp -d "${TMPDIR:-/tmp}/wavelocker-bench.XXXXXX")}

BIG_FILES=4
BIG_MIB=256
SMALL_FILES=2000
SMALL_KB=50

W="$WORK/wifi-zip"
LIB="$W/library"
mkdir -p "$LIB/Folder/small" "$W/out"
private_xdg "$W/xdg"
SERVER_PID=""
cleanup() {
  [ -n "$SERVER_PID" ] && kill "$SERVER_PID" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$W"
}
trap cleanup EXIT

for i in $(seq 1 "$BIG_FILES"); do head -c "${BIG_MIB}M" /dev/urandom > "$LIB/Folder/take $i.wav"; done
head -c "${SMALL_KB}K" /dev/urandom > "$W/small"
for i in $(seq 1 "$SMALL_FILES"); do cp "$W/small" "$LIB/Folder/small/loop $i.wav"; done

"$BIN/wavelocker" --serve --library "$LIB" --port 0 2> "$W/serve.log" &
SERVER_PID=$!
for _ in $(seq 1 200); do grep -q 'started on port' "$W/serve.log" && break; sleep 0.05; done
PORT=$(grep -o 'started on port [0-9]*' "$W/serve.log" | awk '{print $4}' | head -n 1)
URL="http://127.0.0.1:$PORT/zip?path=/Folder"

# The archive must be whole and hold the same bytes before anything is timed.
curl -sf -o "$W/out/ours.zip" "$URL"
unzip -tq "$W/out/ours.zip" >/dev/null
unzip -q "$W/out/ours.zip" -d "$W/out/x"
diff -r "$LIB/Folder" "$W/out/x/Folder"
rm -rf "$W/out/x"

t_ours=$(seconds curl -sf -o "$W/out/ours.zip" "$URL")
t_zip=$(seconds sh -c "cd '$LIB' && rm -f '$W/out/theirs.zip' && zip -0 -r -q '$W/out/theirs.zip' Folder")
mib=$((BIG_FILES * BIG_MIB + SMALL_FILES * SMALL_KB / 1024))
echo "zip of a ${mib} MiB folder ($((BIG_FILES + SMALL_FILES)) files): wavelocker streams in ${t_ours} s," \
     "zip -0 -r to a file ${t_zip} s, ratio $(ratio "$t_zip" "$t_ours") (target >= 1.0)"

before=$(rss_kib "$SERVER_PID")
curl -sf -o /dev/null "$URL" &
download_pid=$!
peak=$(peak_rss_kib_while "$SERVER_PID" "$download_pid")
wait "$download_pid"
echo "zip of a ${mib} MiB folder: server resident memory $((before / 1024)) MiB before, peak $((peak / 1024)) MiB" \
     "(+$(((peak - before) / 1024)) MiB)"
