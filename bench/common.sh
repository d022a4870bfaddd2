# Helpers for the benchmark scripts: time a command, take a ratio, report peak memory.
# seconds CMD...: wall-clock seconds of the best of three runs
seconds() {
  local best="" t
  for _ in 1 2 3; do
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s.%N)
    t=$(echo "$end - $start" | bc -l)
    if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" = 1 ]; then best=$t; fi
  done
  printf '%.3f' "$best"
}
# once CMD...: wall-clock seconds of a single run (a first open, which later runs can't repeat)
once() {
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1
  end=$(date +%s.%N)
  printf '%.3f' "$(echo "$end - $start" | bc -l)"
}
# ratio A B: A / B with three decimals
ratio() { printf '%.3f' "$(echo "$1 / $2" | bc -l)"; }
# peak_kib CMD...: peak resident memory of one run, in KiB
peak_kib() { /usr/bin/time -f '%M' "$@" 2>&1 >/dev/null | tail -n 1; }
# rss_kib PID: resident memory of a running process, in KiB
rss_kib() { awk '/VmRSS/ {print $2}' "/proc/$1/status"; }
# peak_rss_kib_while SERVER CLIENT: the server's peak resident memory (KiB) until the client
# process ends (the caller then waits for the client: a subshell cannot)
peak_rss_kib_while() {
  local peak now
  peak=$(rss_kib "$1")
  while kill -0 "$2" 2>/dev/null; do
    now=$(rss_kib "$1")
    [ "$now" -gt "$peak" ] && peak=$now
    sleep 0.05
  done
  echo "$peak"
}
# private_xdg DIR: the tool's settings, caches and data stay inside DIR for the run
private_xdg() {
  mkdir -p "$1/cache" "$1/config" "$1/data"
  export XDG_CACHE_HOME="$1/cache" XDG_CONFIG_HOME="$1/config" XDG_DATA_HOME="$1/data"
}
