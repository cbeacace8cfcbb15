#!/usr/bin/env bash
# What selections cost: jobs of twenty profiles with a where clause each, with wildcard path clauses,
# and with a thousand monitored directories, against the job of one profile without any. All of them
# in turn in one run; prints the median ratios to that job.
#
#   bench/selection.sh [--rounds N] [--json FILE] [TREE]
#
#   TREE  a standard tree (t400k), below $TREES (/var/tmp/orv-bench); made when it is not there yet
set -euo pipefail
rounds=7 json=()
while [[ ${1:-} == --* ]]; do
  case $1 in
    --rounds) rounds=$2; shift 2 ;;
    --json) json=(--json "$2"); shift 2 ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
  esac
done
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
name=${1:-t400k}
bench_tree "$name"
TREE=$TREES/$name
bench_setup "$TREE"

# A definition takes a clause one character per token.
tokens() { sed 's/./& /g; s/ $//' <<<"$1"; }

# rows CLAUSE...: a summary profile for each clause.
rows() {
  local clause
  for clause; do printf '1,Y,"%s"\n' "$(tokens "$clause")"; done
}

CLAUSES=(
  'size<1' 'size=1..20' 'size=21..200' 'size=201..2048' 'size>2K' 'size>20K' 'size>200K' 'size>1M'
  'size>1G' 'type=f' 'type=d' 'type=fl' 'type!=f' 'type=f&size=0' 'modified<1d' 'modified>1d'
  'modified=0s..30d' 'accessed<1h' 'accessed>1y' 'accessed>2024-01-01')
PATTERNS=()
for n in 0 1 2 3 4 5 6 7 8 9; do
  PATTERNS+=("path~'/*/%/dir$((n % 4))/*${n}*.c'" "path~'%/d*r?/%/file*$n[0-9].l*g'")
done

bench_profiles plain "$TREE" sdSummary,sdWhereClause '1,Y,null'
bench_profiles clauses "$TREE" sdSummary,sdWhereClause "$(rows "${CLAUSES[@]}")"
bench_profiles patterns "$TREE" sdSummary,sdWhereClause "$(rows "${PATTERNS[@]}")"
DIRECTORIES=$(find "$TREE/tree" -mindepth 4 -type d | sort | awk 'NR % 40 == 0 && ++n <= 1000') \
  bench_profiles watched "$TREE" sdSummary,sdWhereClause $'1,Y,null\n0,Y,null'

"$BUILD/bench/measure" --rounds "$rounds" --base plain "${json[@]}" \
  --group "$name" "$("$BUILD/bench/floor" "$TREE" | cut -d' ' -f1)" \
  "plain=$(bench_command plain)" \
  "20 clauses=$(bench_command clauses)" \
  "20 path patterns=$(bench_command patterns)" \
  "1000 directories=$(bench_command watched)"
