#!/bin/bash
# Fuzzes the readers of foreign text, each for SECONDS (60), and says what was run and found:
#   scripts/fuzz.sh [SECONDS] [READER...]     definition clause pattern mounts resource result
# The corpus grows in build/fuzz/corpus and outlives the run; a finding is kept in
# build/fuzz/findings and ends the run with code 1. To repeat one:
#   ORV_READER=clause build/fuzz/tests/fuzz/fuzz_readers FILE
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
[[ $seconds =~ ^[0-9]+$ ]] || { echo "fuzz: '$seconds' is no number of seconds" >&2; exit 2; }
shift $(($# > 0))
[[ $# -gt 0 ]] || set -- definition clause pattern mounts resource result

scripts/install-deps.sh build fuzz
[[ -f build/fuzz/build.ninja ]] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_readers

# The readers read and write small files all the time.
[[ -w /dev/shm ]] && export TMPDIR=/dev/shm
findings=build/fuzz/findings
mkdir -p "$findings"
failed=0
printf '%-11s %12s %9s %9s %9s %8s\n' reader executions per_second edges features corpus
for reader in "$@"; do
  corpus=build/fuzz/corpus/$reader
  mkdir -p "$corpus"
  log=build/fuzz/$reader.log
  ORV_READER=$reader nice -n 15 build/fuzz/tests/fuzz/fuzz_readers -max_total_time="$seconds" -timeout=20 \
    -rss_limit_mb=3000 -print_final_stats=1 -dict="tests/fuzz/$reader.dict" \
    -artifact_prefix="$findings/$reader-" "$corpus" "tests/fuzz/seeds/$reader" >"$log" 2>&1 || {
    failed=1
    echo "$reader: a finding, see $log and $findings" >&2
  }
  awk -v reader="$reader" '
    / cov: / { edges = $4; features = $6; corpus = $8 }
    /^stat::number_of_executed_units/ { runs = $2 }
    /^stat::average_exec_per_sec/ { rate = $2 }
    END { printf "%-11s %12d %9d %9d %9d %8s\n", reader, runs, rate, edges, features, corpus }
  ' "$log"
done
exit "$failed"
