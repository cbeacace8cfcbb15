#!/usr/bin/env bash
# Times the scan of TREE, with a summary profile and with every statistic, against `du -s`,
# `find -printf` and the floor in one run, in turn, and prints median ratios to `du -s` and peak memory.
#
#   bench/walk.sh TREE [ROUNDS]
set -euo pipefail
[ $# -ge 1 ] && [ -d "$1" ] || { echo "usage: bench/walk.sh TREE [ROUNDS]" >&2; exit 2; }
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
tree=$(realpath -- "$1")
bench_setup "$tree"
bench_definition summary "$tree" "$SUMMARY_FIELDS" "$SUMMARY_VALUES"
bench_definition everything "$tree" "$EVERYTHING_FIELDS" "$EVERYTHING_VALUES"
entries=$("$BUILD/bench/floor" "$tree" | cut -d' ' -f1)
"$BUILD/bench/measure" --rounds "${2:-7}" --base du --group "$(basename -- "$tree")" "$entries" \
  "floor=exec $BUILD/bench/floor '$tree'" \
  "du=exec du -s '$tree'" \
  "find=exec find '$tree' -xdev -printf '%y %s %b %n %u %g %A@ %T@ %i %p\n'" \
  "summary=$(bench_command summary)" \
  "everything=$(bench_command everything)"
