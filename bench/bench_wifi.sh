#!/usr/bin/env bash
# The WiFi drive against nginx on loopback, both serving the same folder in the same run:
# download and upload of a 256 MiB file, upload of a 1 GiB file and of 2,000 files of 50 KB
# (nginx taking them by WebDAV PUT), the same 256 MiB sent in resumable 8 MiB pieces, /list
# requests per second on a 1,000-entry folder with 32 concurrent clients, and the server's
# memory during uploads of 10 MiB, 1 GiB and 2 GiB.
# SMALL_ROUNDS=N runs only the small-file uploads, N rounds taking turns with nginx, and prints
# every round's ratio and the ratio of the best times: one run's ratio swings with the load.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/common.sh"
BIN=${BIN:-$(cd "${1:-build/bin}" && pwd)}
WORK=${WORK:-$(mktemp -d "${TMPDIR:-/tmp}/wavelocker-bench.XXXXXX")}

BIG_MIB=256
HUGE_GIB=1
LIST_ENTRIES=1000
SMALL_FILES=2000
SMALL_KB=50
PIECE_MIB=8
SMALL_ROUNDS=${SMALL_ROUNDS:-0}
CLIENTS=32
LIST_SECONDS=5

W="$WORK/wifi"
LIB="$W/library"
NGX="$W/nginx"
mkdir -p "$LIB/many" "$LIB/up" "$LIB/up-small" "$NGX/tmp" "$NGX/up" "$NGX/up-small" "$W/small" "$W/pieces"
# A Wavelocker of the user's already running would take the --serve over and ignore its options.
private_xdg "$W/xdg"
mkdir -m 700 "$W/xdg/runtime"
export XDG_RUNTIME_DIR="$W/xdg/runtime"
SERVER_PID=""
NGINX_PID=""
cleanup() {
  [ -n "$SERVER_PID" ] && kill "$SERVER_PID" 2>/dev/null || true
  [ -n "$NGINX_PID" ] && kill "$NGINX_PID" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$W"
}
trap cleanup EXIT

listening() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }
free_port() {
  local p
  while :; do
    p=$((20000 + RANDOM % 40000))
    listening "$p" || { echo "$p"; return; }
  done
}
wait_for_port() {
  for _ in $(seq 1 200); do listening "$1" && return 0; sleep 0.05; done
  echo "nothing listens on port $1" >&2
  return 1
}
mib_per_s() { printf '%.1f' "$(echo "$1 / $2" | bc -l)"; }
requests_per_s() { wrk -t2 -c"$CLIENTS" -d"${LIST_SECONDS}s" "$1" | awk '/Requests\/sec/ {print $2}'; }

if [ "$SMALL_ROUNDS" -eq 0 ]; then
  head -c "${BIG_MIB}M" /dev/urandom > "$LIB/big.bin"
  for i in $(seq 1 "$LIST_ENTRIES"); do printf '%d' "$i" > "$LIB/many/Take $i.wav"; done
  truncate -s "${HUGE_GIB}G" "$W/huge.bin"
fi

# nginx as Debian ships it, tuned as one would for static files: sendfile, long keep-alive.
NGINX_PORT=$(free_port)
cat > "$NGX/nginx.conf" <<CONF
daemon off;
worker_processes auto;
pid $NGX/nginx.pid;
error_log $NGX/error.log;
$( [ "$(id -u)" -eq 0 ] && echo "user root;" )
events { worker_connections 1024; }
http {
  access_log off;
  sendfile on;
  tcp_nopush on;
  keepalive_requests 100000;
  client_body_temp_path $NGX/tmp;
  proxy_temp_path $NGX/tmp;
  fastcgi_temp_path $NGX/tmp;
  uwsgi_temp_path $NGX/tmp;
  scgi_temp_path $NGX/tmp;
  default_type application/octet-stream;
  server {
    listen 127.0.0.1:$NGINX_PORT;
    root $LIB;
    location /many/ { autoindex on; autoindex_format json; }
    location /up/ { root $NGX; dav_methods PUT; client_max_body_size 0; }
    location /up-small/ { root $NGX; dav_methods PUT; client_max_body_size 0; }
  }
}
CONF
nginx -p "$NGX" -c "$NGX/nginx.conf" &
NGINX_PID=$!

PORT=$(free_port)
"$BIN/wavelocker" --serve --library "$LIB" --port "$PORT" 2> "$W/serve.log" &
SERVER_PID=$!
wait_for_port "$NGINX_PORT"
for _ in $(seq 1 200); do grep -q 'started on port' "$W/serve.log" && break; sleep 0.05; done
PORT=$(grep -o 'started on port [0-9]*' "$W/serve.log" | awk '{print $4}' | head -n 1)
wait_for_port "$PORT"
OURS="http://127.0.0.1:$PORT"
THEIRS="http://127.0.0.1:$NGINX_PORT"

# 2,000 small files, one request each over one kept-alive connection, as a browser sends them.
small_setup() {
  for i in $(seq 1 "$SMALL_FILES"); do head -c "${SMALL_KB}K" /dev/urandom > "$W/small/loop $i.wav"; done
  : > "$W/ours.cfg"
  : > "$W/theirs.cfg"
  for i in $(seq 1 "$SMALL_FILES"); do
    [ "$i" -gt 1 ] && echo next >> "$W/ours.cfg"
    printf 'form = "path=/up-small/"\nform = "files[]=@%s"\nurl = "%s/upload"\noutput = "/dev/null"\n' \
      "$W/small/loop $i.wav" "$OURS" >> "$W/ours.cfg"
    printf 'upload-file = "%s"\nurl = "%s/up-small/loop%d.wav"\noutput = "/dev/null"\n' "$W/small/loop $i.wav" "$THEIRS" "$i" >> "$W/theirs.cfg"
  done
}
small_once() { rm -f "$LIB"/up-small/* "$NGX"/up-small/*; curl -sf -K "$1"; }
files_per_s() { printf '%.0f' "$(echo "$SMALL_FILES / $1" | bc -l)"; }
small_check() {
  small_once "$W/ours.cfg"
  [ "$(ls "$LIB/up-small" | wc -l)" -eq "$SMALL_FILES" ]
  cmp "$W/small/loop 7.wav" "$LIB/up-small/loop 7.wav"
  rm -f "$LIB"/up-small/*
}
small_report() {
  echo "upload ${SMALL_FILES} files of ${SMALL_KB} KB: wavelocker $(files_per_s "$1") files/s," \
       "nginx $(files_per_s "$2") files/s, ratio $(ratio "$2" "$1") (target >= 1.0)"
}
small_setup
small_check

if [ "$SMALL_ROUNDS" -gt 0 ]; then
  best_ours="" best_nginx=""
  for round in $(seq 1 "$SMALL_ROUNDS"); do
    t_ours=$(seconds small_once "$W/ours.cfg")
    t_nginx=$(seconds small_once "$W/theirs.cfg")
    echo "round $round ($(uptime | sed 's/.*load average: //')): $(small_report "$t_ours" "$t_nginx")"
    if [ -z "$best_ours" ] || [ "$(echo "$t_ours < $best_ours" | bc -l)" = 1 ]; then best_ours=$t_ours; fi
    if [ -z "$best_nginx" ] || [ "$(echo "$t_nginx < $best_nginx" | bc -l)" = 1 ]; then best_nginx=$t_nginx; fi
  done
  echo "best of $SMALL_ROUNDS: $(small_report "$best_ours" "$best_nginx")"
  exit 0
fi

# The same bytes must come back from both before anything is timed.
cmp <(curl -sf "$OURS/download?path=/big.bin") "$LIB/big.bin"
cmp <(curl -sf "$THEIRS/big.bin") "$LIB/big.bin"

t_ours=$(seconds curl -sf -o /dev/null "$OURS/download?path=/big.bin")
t_nginx=$(seconds curl -sf -o /dev/null "$THEIRS/big.bin")
echo "download ${BIG_MIB} MiB: wavelocker $(mib_per_s $BIG_MIB "$t_ours") MiB/s, nginx $(mib_per_s $BIG_MIB "$t_nginx") MiB/s," \
     "ratio $(ratio "$t_nginx" "$t_ours") (target >= 1.0)"

t_ours=$(seconds curl -sf -o /dev/null -F "path=/up/" -F "files[]=@$LIB/big.bin" "$OURS/upload")
t_nginx=$(seconds curl -sf -o /dev/null -T "$LIB/big.bin" "$THEIRS/up/big.bin")
t_nginx_big=$t_nginx
cmp "$LIB/up/big.bin" "$LIB/big.bin"
echo "upload ${BIG_MIB} MiB: wavelocker $(mib_per_s $BIG_MIB "$t_ours") MiB/s, nginx $(mib_per_s $BIG_MIB "$t_nginx") MiB/s," \
     "ratio $(ratio "$t_nginx" "$t_ours")"
rm -f "$LIB"/up/*

# 1 GiB in one request each.
huge_once() { rm -f "$LIB"/up/*; curl -sf -o /dev/null -F "path=/up/" -F "files[]=@$W/huge.bin" "$OURS/upload"; }
t_ours=$(seconds huge_once)
t_nginx=$(seconds curl -sf -o /dev/null -T "$W/huge.bin" "$THEIRS/up/huge.bin")
[ "$(stat -c %s "$LIB/up/huge.bin")" -eq $((HUGE_GIB << 30)) ]
echo "upload ${HUGE_GIB} GiB: wavelocker $(mib_per_s $((HUGE_GIB * 1024)) "$t_ours") MiB/s," \
     "nginx $(mib_per_s $((HUGE_GIB * 1024)) "$t_nginx") MiB/s, ratio $(ratio "$t_nginx" "$t_ours") (target >= 1.0)"
rm -f "$LIB"/up/* "$NGX"/up/*

t_ours=$(seconds small_once "$W/ours.cfg")
t_nginx=$(seconds small_once "$W/theirs.cfg")
small_report "$t_ours" "$t_nginx"

# The 256 MiB file in resumable pieces, as the page sends large files.
split -b "${PIECE_MIB}M" -d -a 3 "$LIB/big.bin" "$W/pieces/p"
size=$(stat -c %s "$LIB/big.bin")
: > "$W/pieces.cfg"
offset=0
for piece in "$W"/pieces/p*; do
  [ "$offset" -gt 0 ] && echo next >> "$W/pieces.cfg"
  printf 'data-binary = "@%s"\nurl = "%s/upload-chunk?id=benchbenchbench0001&offset=%d&size=%d&path=/up/&name=pieces.bin"\noutput = "/dev/null"\n' \
    "$piece" "$OURS" "$offset" "$size" >> "$W/pieces.cfg"
  offset=$((offset + $(stat -c %s "$piece")))
done
pieces_once() { rm -f "$LIB"/up/*; curl -sf -K "$W/pieces.cfg"; }
t_pieces=$(seconds pieces_once)
pieces_once
cmp "$LIB/up/pieces.bin" "$LIB/big.bin"
echo "upload ${BIG_MIB} MiB in ${PIECE_MIB} MiB resumable pieces: wavelocker $(mib_per_s $BIG_MIB "$t_pieces") MiB/s," \
     "nginx (one PUT) $(mib_per_s $BIG_MIB "$t_nginx_big") MiB/s"
rm -f "$LIB"/up/*

r_ours=$(requests_per_s "$OURS/list?path=/many/")
r_nginx=$(requests_per_s "$THEIRS/many/")
echo "list ${LIST_ENTRIES} entries, ${CLIENTS} clients: wavelocker ${r_ours} req/s, nginx ${r_nginx} req/s," \
     "ratio $(ratio "$r_ours" "$r_nginx")"

# Memory while bodies of 10 MiB to 2 GiB stream in: they go to disk, so resident memory stays
# flat whatever the size.
upload_memory() {
  local mib=$1 before peak upload_pid
  rm -f "$LIB"/up/*
  truncate -s "${mib}M" "$W/sized.bin"
  before=$(rss_kib "$SERVER_PID")
  curl -sf -o /dev/null -F "path=/up/" -F "files[]=@$W/sized.bin" "$OURS/upload" &
  upload_pid=$!
  peak=$(peak_rss_kib_while "$SERVER_PID" "$upload_pid")
  wait "$upload_pid"
  [ "$(stat -c %s "$LIB/up/sized.bin")" -eq $((mib << 20)) ]
  rm -f "$LIB"/up/* "$W/sized.bin"
  echo "upload $mib MiB: server resident memory $((before / 1024)) MiB before, peak $((peak / 1024)) MiB" \
       "(+$(((peak - before) / 1024)) MiB)"
}
for mib in 10 1024 2048; do upload_memory "$mib"; done
