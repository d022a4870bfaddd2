#!/usr/bin/env bash
# Late in a 1-hour MP3 (VBR, no header) and M4A: trimming one second at minute 55, ours (open,
# one packet scan of the MP3, seek, write) against ffmpeg cutting the same second with its own
# seek; and the cost of the scan alone, seen as trimming one second at the start.
set -euo pipefail
source "$(dirname "$0")/common.sh"
private_xdg "$WORK/seek"
TOOL="$BIN/wavelocker-tool"

mp3="$WORK/seek-1h.mp3"
m4a="$WORK/seek-1h.m4a"
ffmpeg -v error -y -f lavfi -i "aevalsrc=0.4*sin(2*PI*(200+t/20)*t):s=22050:d=3600" \
       -ac 1 -c:a libmp3lame -q:a 8 -write_xing 0 "$mp3"
ffmpeg -v error -y -f lavfi -i "aevalsrc=0.4*sin(2*PI*(200+t/20)*t):s=22050:d=3600" \
       -ac 1 -c:a aac -b:a 32k "$m4a"

for f in "$mp3" "$m4a"; do
  ext=${f##*.}
  late=$(seconds "$TOOL" trim "$f" "$WORK/late.$ext" --start 3300 --end 3301)
  early=$(seconds "$TOOL" trim "$f" "$WORK/early.$ext" --start 0 --end 1)
  ref=$(seconds ffmpeg -v error -y -ss 3300 -t 1 -i "$f" "$WORK/ref.$ext")
  seek=$(echo "$late - $early" | bc -l)
  printf 'seek %-3s trim at 55:00 %ss  at 0:00 %ss  seek cost %.3fs (target <= 0.050)  ffmpeg -ss %ss  ratio %s\n' \
         "$ext" "$late" "$early" "$seek" "$ref" "$(ratio "$late" "$ref")"
done
