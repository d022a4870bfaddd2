#!/usr/bin/env bash
# Dropbox transfers against the local stand-in server (tests/cloud/dropbox_test_server.py):
# download and upload of 1 GiB by the tool against curl doing the same requests to the same
# server in the same run (in turn, the best of five each), and the tool's peak memory for
# 10 MiB and 1 GiB each way.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/common.sh"
BIN=${BIN:-$(cd "${1:-build/bin}" && pwd)}
WORK=${WORK:-$(mktemp -d "${TMPDIR:-/tmp}/wavelocker-bench.XXXXXX")}

W="$WORK/dropbox"
ROOT="$W/root"
LIB="$W/library"
mkdir -p "$ROOT" "$LIB" "$W/xdg"
private_xdg "$W/xdg"
SERVER_PID=""
cleanup() {
  [ -n "$SERVER_PID" ] && kill "$SERVER_PID" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$W"
}
trap cleanup EXIT

mkfifo "$W/hold"
python3 "$HERE/../tests/cloud/dropbox_test_server.py" --root "$ROOT" --token bench <"$W/hold" >"$W/port" &
SERVER_PID=$!
exec 9>"$W/hold"
for _ in $(seq 100); do grep -q PORT "$W/port" 2>/dev/null && break; sleep 0.2; done
URL="http://127.0.0.1:$(awk '{print $2}' "$W/port")"
export WAVELOCKER_DROPBOX_API_URL=$URL WAVELOCKER_DROPBOX_CONTENT_URL=$URL WAVELOCKER_DROPBOX_AUTH_URL=$URL
export WAVELOCKER_DROPBOX_APP_KEY=testkey WAVELOCKER_DROPBOX_TOKEN=bench

head -c $((1024 * 1024 * 1024)) /dev/urandom >"$ROOT/big.bin"
head -c $((10 * 1024 * 1024)) /dev/urandom >"$ROOT/small.bin"
cp "$ROOT/big.bin" "$W/big.bin"
cp "$ROOT/small.bin" "$W/small.bin"

tool_down() { rm -rf "$LIB"/*; "$BIN/wavelocker-tool" --library "$LIB" dropbox import "/$1" --to "$LIB"; }
curl_down() {
  curl -sf -X POST -H "Authorization: Bearer bench" -H "Dropbox-API-Arg: {\"path\":\"/$1\"}" \
    "$URL/2/files/download" -o "$W/curl.out"
}
# The tool's download is on the disk (fsync) before it takes its name; curl's stays in the page
# cache. This one does what the tool does.
curl_down_sync() { curl_down "$1" && sync "$W/curl.out"; }
tool_up() { rm -rf "$ROOT/up"; "$BIN/wavelocker-tool" --library "$LIB" dropbox export "$W/$1" --to /up; }
curl_up() {
  rm -rf "$ROOT/up"
  local sid
  sid=$(curl -sf -X POST -H "Authorization: Bearer bench" -H 'Dropbox-API-Arg: {"close":true}' \
    -H "Content-Type: application/octet-stream" -T "$W/$1" "$URL/2/files/upload_session/start" |
    sed 's/.*"session_id": *"\([^"]*\)".*/\1/')
  curl -sf -X POST -H "Authorization: Bearer bench" -H "Content-Type: application/json" \
    -d "{\"entries\":[{\"cursor\":{\"session_id\":\"$sid\",\"offset\":$(stat -c %s "$W/$1")},\"commit\":{\"path\":\"/up/$1\",\"mode\":\"add\"}}]}" \
    "$URL/2/files/upload_session/finish_batch_v2" >/dev/null
}

# best_pair TOOL_FN CURL_FN FILE: the best seconds of each over five rounds taken in turn, so that
# both meet the same load of a shared machine.
best_pair() {
  local a="" b="" t
  for _ in 1 2 3 4 5; do
    t=$(seconds_once "$1" "$3")
    if [ -z "$a" ] || [ "$(echo "$t < $a" | bc -l)" = 1 ]; then a=$t; fi
    t=$(seconds_once "$2" "$3")
    if [ -z "$b" ] || [ "$(echo "$t < $b" | bc -l)" = 1 ]; then b=$t; fi
  done
  echo "$a $b"
}
seconds_once() {
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  printf '%.3f' "$(echo "$end - $start" | bc -l)"
}

tool_down big.bin >/dev/null 2>&1
cmp -s "$LIB/big.bin" "$ROOT/big.bin" || { echo "download differs"; exit 1; }
read -r t_tool t_curl < <(best_pair tool_down curl_down big.bin)
echo "download 1 GiB: tool ${t_tool}s, curl ${t_curl}s, ratio $(ratio "$t_tool" "$t_curl")"
read -r t_tool t_curl < <(best_pair tool_down curl_down_sync big.bin)
echo "download 1 GiB on disk: tool ${t_tool}s, curl then sync ${t_curl}s, ratio $(ratio "$t_tool" "$t_curl")"
tool_up big.bin >/dev/null 2>&1
cmp -s "$ROOT/up/big.bin" "$W/big.bin" || { echo "upload differs"; exit 1; }
read -r t_tool t_curl < <(best_pair tool_up curl_up big.bin)
echo "upload 1 GiB: tool ${t_tool}s, curl ${t_curl}s, ratio $(ratio "$t_tool" "$t_curl")"

rm -rf "$LIB"/* "$ROOT/up"
down_small=$(peak_kib "$BIN/wavelocker-tool" --library "$LIB" dropbox import /small.bin --to "$LIB")
rm -rf "$LIB"/*
down_big=$(peak_kib "$BIN/wavelocker-tool" --library "$LIB" dropbox import /big.bin --to "$LIB")
up_small=$(peak_kib "$BIN/wavelocker-tool" --library "$LIB" dropbox export "$W/small.bin" --to /up)
up_big=$(peak_kib "$BIN/wavelocker-tool" --library "$LIB" dropbox export "$W/big.bin" --to /up)
echo "peak memory download: 10 MiB ${down_small} KiB, 1 GiB ${down_big} KiB"
echo "peak memory upload: 10 MiB ${up_small} KiB, 1 GiB ${up_big} KiB"
