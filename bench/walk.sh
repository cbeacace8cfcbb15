#!/usr/bin/env bash
# Times the scan of TREE with a summary profile against `du -s` and `find -printf` in one run, in turn,
# and prints median ratios to `du -s` and peak memory.
#
#   bench/walk.sh TREE [ROUNDS]
set -euo pipefail
[ $# -ge 1 ] && [ -d "$1" ] || { echo "usage: bench/walk.sh TREE [ROUNDS]" >&2; exit 2; }
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
bench_setup "$1"
bench_definition summary "$SUMMARY_FIELDS" "$SUMMARY_VALUES"
bench_definition everything "$EVERYTHING_FIELDS" "$EVERYTHING_VALUES"
entries=$("$BUILD/bench/floor" "$TREE" | cut -d' ' -f1)
echo "$entries entries below $TREE"
"$BUILD/bench/measure" --rounds "${2:-7}" --base du --entries "$entries" \
  "du=exec du -s '$TREE'" \
  "find=exec find '$TREE' -xdev -printf '%y %s %b %n %u %g %A@ %T@ %i %p\n'" \
  "floor=exec $BUILD/bench/floor '$TREE'" \
  "scan-summary=$(bench_command summary)" \
  "scan-everything=$(bench_command everything)"
