#!/usr/bin/env bash
# Times the scan of a tree with a time-out (-nfstimeout 30), one lane and two, against the scan
# without, all in turn in one run; then, on a small tree with 200 microseconds added to every stat,
# eight lanes against one. Prints median ratios and peak memory of the job.
#
#   bench/timeout.sh [--json DIR] [TREE [SMALL_TREE [ROUNDS]]]     standard trees: t400k t40k 5
#
#   --json DIR   also writes timeout.json and slow-timeout.json there
set -euo pipefail
timeout=() slow_timeout=()
if [ "${1:-}" = --json ]; then
  timeout=(--json "$2/timeout.json") slow_timeout=(--json "$2/slow-timeout.json")
  shift 2
fi
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
tree=${1:-t400k} small=${2:-t40k} rounds=${3:-5}
bench_tree "$tree"
bench_tree "$small"
bench_setup "$TREES/$tree" "$TREES/$small"
for name in "$tree" "$small"; do
  bench_definition "$name" "$TREES/$name" "$EVERYTHING_FIELDS" "$EVERYTHING_VALUES"
done
job() { SCAN_ENV="ORV_WALK_THREADS=$2 ${3:-}" bench_command "$1"; }
timed() { printf '%s -nfstimeout 30' "$(job "$@")"; }
entries() { "$BUILD/bench/floor" "$TREES/$1" | cut -d' ' -f1; }
"$BUILD/bench/measure" --rounds "$rounds" --base du --base 'no time-out' "${timeout[@]}" \
  --group "$tree" "$(entries "$tree")" \
  "du=exec du -sx $TREES/$tree" \
  "no time-out=$(job "$tree" 1)" \
  "no time-out, 2 threads=$(job "$tree" 2)" \
  "1 lane=$(timed "$tree" 1)" \
  "2 lanes=$(timed "$tree" 2)"
slow=LD_PRELOAD=$BUILD/bench/libslowstat.so
"$BUILD/bench/measure" --rounds "$rounds" --base '1 lane' "${slow_timeout[@]}" \
  --group "$small, slow" "$(entries "$small")" \
  "1 lane=$(timed "$small" 1 "$slow")" \
  "8 lanes=$(timed "$small" 8 "$slow")"
