#!/usr/bin/env bash
# Runs every benchmark (bench/bench_*.sh) against the reference tools in one run and prints
# ratios. Usage: bench/run.sh BIN_DIR
set -euo pipefail
BIN=$(cd "${1:-build/bin}" && pwd)
HERE=$(cd "$(dirname "$0")" && pwd)
WORK=$(mktemp -d "${TMPDIR:-/tmp}/wavelocker-bench.XXXXXX")
trap 'rm -rf "$WORK"' EXIT
export BIN WORK
status=0
for b in "$HERE"/bench_*.sh; do
  [ -e "$b" ] || continue
  echo "== $(basename "$b" .sh)"
  bash "$b" || status=1
done
exit $status
