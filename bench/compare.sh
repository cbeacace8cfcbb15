#!/usr/bin/env bash
# Times the scan against the bare system calls and against other programs that walk a tree: all of
# them in turn in one run, several rounds, with warm and (as root) with dropped caches. Prints median
# ratios to the floor and to `du -s`, peak memory and entries per second.
#
#   bench/compare.sh [--install] [--rounds N] [--cold-rounds N] [--out DIR] [TREE...]
#
#   --install      first installs the other programs, and what draws, from the distribution
#   --rounds N     rounds with warm caches (5; 0 for none)
#   --cold-rounds N  rounds with dropped caches (3 as root, else 0)
#   --programs 'NAME...'  runs these other programs only (du and find besides those below)
#   --cpu          compares processor time, which a busy machine disturbs less; leaves out the scans
#                  with two threads (2t), whose gain it cannot show
#   --out DIR      also writes warm.json, cold.json and cost.svg there
#   TREE           standard trees, by default t40k t400k t4m; made below $TREES (/var/tmp/orv-bench)
#                  when they are not there yet, and kept
set -euo pipefail
PROGRAMS=(ncdu duc-nox gdu agedu bfs gnuplot-nox jq)
install=no cpu=() wanted='du find bfs ncdu gdu duc agedu' rounds=5 cold_rounds=$([ "$(id -u)" = 0 ] && echo 3 || echo 0) out=''
while [[ ${1:-} == --* ]]; do
  case $1 in
    --install) install=yes; shift ;;
    --rounds) rounds=$2; shift 2 ;;
    --cold-rounds) cold_rounds=$2; shift 2 ;;
    --programs) wanted=$2; shift 2 ;;
    --cpu) cpu=(--cpu); shift ;;
    --out) out=$(realpath -- "$2"); shift 2 ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
  esac
done
[ $# -gt 0 ] || set -- t40k t400k t4m
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
[ $install = no ] || apt-get install -y --no-install-recommends "${PROGRAMS[@]}"

for tree; do bench_tree "$tree"; done
bench_setup "${@/#/$TREES/}"
for tree; do
  bench_definition "summary-$tree" "$TREES/$tree" "$SUMMARY_FIELDS" "$SUMMARY_VALUES"
  bench_definition "everything-$tree" "$TREES/$tree" "$EVERYTHING_FIELDS" "$EVERYTHING_VALUES"
done

FIELDS='%y %s %b %n %u %g %A@ %T@ %i %p\n'
has() { [[ " $wanted " == *" $1 "* ]] && command -v "$1" >/dev/null; }
for program in $wanted; do
  has "$program" || echo "$program is not installed and left out (--install installs it)"
done

# The arguments of `measure` for one tree. What comes first is run to warm the caches and to count.
group_of() {
  local tree=$1 path=$TREES/$1 name
  ARGS+=(--group "$tree" "$("$BUILD/bench/floor" "$path" | cut -d' ' -f1)")
  ARGS+=("floor=exec $BUILD/bench/floor $path")
  for name in summary everything; do
    ARGS+=("scan $name=$(bench_command "$name-$tree")")
    [ ${#cpu[@]} -gt 0 ] || ARGS+=("scan $name, 2t=$(SCAN_ENV=ORV_WALK_THREADS=2 bench_command "$name-$tree")")
  done
  if has du; then ARGS+=("du -s=exec du -sx $path"); fi
  if has find; then ARGS+=("find -printf=exec find $path -xdev -printf '$FIELDS'"); fi
  if has bfs; then ARGS+=("bfs -printf=exec bfs $path -xdev -printf '$FIELDS'"); fi
  if has ncdu; then ARGS+=("ncdu=exec ncdu -0xo /dev/null $path"); fi
  if has gdu; then ARGS+=("gdu=exec gdu -npsx $path"); fi
  if has duc; then ARGS+=("duc=exec duc index -xd $AGENT/duc.db $path"); fi
  if has agedu; then ARGS+=("agedu=exec agedu -f $AGENT/agedu.dat -s $path"); fi
}

ARGS=("${cpu[@]}" --base floor --base 'du -s')
if [ -n "$out" ]; then
  mkdir -p "$out"
  # A long run is not to end in a plot that cannot be drawn.
  for tool in jq gnuplot; do
    command -v "$tool" >/dev/null || { echo "--out needs $tool (--install installs it)" >&2; exit 1; }
  done
fi
measure_all() {
  local name=$1
  shift
  [ -z "$out" ] || set -- "$@" --json "$out/$name.json"
  "$BUILD/bench/measure" "$@" "${ARGS[@]}"
}
# What plot.gp draws: a block per command, the costliest on the largest tree first.
draw() {
  jq -r 'group_by(.name) | map(sort_by(.entries)) | sort_by(-.[-1].costPerEntry) | .[] |
    "", "", "\"\(.[0].name) \(.[-1].costPerEntry * 100 | round / 100)\"",
    (.[] | "\(.entries) \(.costPerEntry)")' "$1" >"${1%.json}.dat"
  gnuplot -c "$BENCH/plot.gp" "${1%.json}.dat" "$2"
}
for tree; do group_of "$tree"; done
if [ "$rounds" -gt 0 ]; then
  echo "Warm caches, $rounds rounds"
  measure_all warm --rounds "$rounds"
  [ -z "$out" ] || draw "$out/warm.json" "$out/cost.svg"
fi
if [ "$cold_rounds" -gt 0 ]; then
  printf '\nDropped caches, %s rounds\n' "$cold_rounds"
  measure_all cold --rounds "$cold_rounds" --before 'sync; echo 3 >/proc/sys/vm/drop_caches'
fi
