#!/bin/bash
# Runs a whole job with every call that it makes failing in turn, or every STRIDEth of those runs,
# and writes the outcome into docs/reliability.md:   scripts/faults.sh [STRIDE]
# Some ten thousand runs, the better part of an hour on a quiet machine. Findings are printed, each
# as the name of a run; one is repeated by
#   build/release/tests/faults/fault_sweep 1 'one write ENOSPC 3 on'
set -euo pipefail
cd "$(dirname "$0")/.."

stride=${1:-1}
[[ $stride =~ ^[1-9][0-9]*$ ]] || { echo "faults: '$stride' is no stride" >&2; exit 2; }

scripts/install-deps.sh build test
cmake --preset release >/dev/null
cmake --build --preset release -j"$(nproc)" --target fault_sweep

said=$(mktemp)
trap 'rm -f "$said"' EXIT
status=0
build/release/tests/faults/fault_sweep "$stride" | tee "$said" || status=$?
grep -q '^|' "$said" || { echo "faults: the sweep did not reach its end" >&2; exit 1; }

document=docs/reliability.md
{
  sed '/^<!-- faults -->$/q' "$document"
  printf 'As of %s, %s, one run in %s:\n\n' "$(git rev-parse --short HEAD)" "$(date -u +%F)" "$stride"
  grep '^|' "$said"
  sed -n '/^<!-- \/faults -->$/,$p' "$document"
} >"$document.new"
mv "$document.new" "$document"
exit "$status"
