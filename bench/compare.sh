#!/usr/bin/env bash
# Times the scan against the bare system calls and against other programs that walk a tree: all of
# them in turn in one run, several rounds, with warm and (as root) with dropped caches. Prints median
# ratios to the floor and to `du -s`, peak memory and entries per second.
#
#   bench/compare.sh [--install] [--rounds N] [--cold-rounds N] [--out DIR [--json DIR]] [TREE...]
#
#   --install      first installs the other programs, and what draws, from the distribution
#   --rounds N     rounds with warm caches (5; 0 for none)
#   --cold-rounds N  rounds with dropped caches (3 as root, else 0)
#   --programs 'NAME...'  runs these other programs only (du and find besides those below)
#   --cpu          compares processor time, which a busy machine disturbs less; leaves out the scans
#                  with several threads, whose gain it cannot show
#   --out DIR      also measures slow metadata, a time-out and selections, and writes all figures as
#                  tables with the date, and cost.svg: into DIR/performance.md between its marks, or,
#                  where there is none, into DIR/figures.md
#   --json DIR     keeps the bare figures there
#   TREE           standard trees, by default t40k t400k t4m; made below $TREES (/var/tmp/orv-bench)
#                  when they are not there yet, and kept
set -euo pipefail
install=no cpu=() wanted='du find bfs ncdu gdu duc agedu' rounds=5 cold_rounds=$([ "$(id -u)" = 0 ] && echo 3 || echo 0) out='' raw=''
while [[ ${1:-} == --* ]]; do
  case $1 in
    --install) install=yes; shift ;;
    --rounds) rounds=$2; shift 2 ;;
    --cold-rounds) cold_rounds=$2; shift 2 ;;
    --programs) wanted=$2; shift 2 ;;
    --cpu) cpu=(--cpu); shift ;;
    --out) out=$(realpath -- "$2"); shift 2 ;;
    --json) raw=$(realpath -- "$2"); shift 2 ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
  esac
done
[ $# -gt 0 ] || set -- t40k t400k t4m
. "$(dirname -- "$(realpath -- "$0")")/job.sh"
[ $install = no ] || "$BENCH/../scripts/install-deps.sh" bench

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

raw=${raw:-$AGENT/figures}
mkdir -p "$raw"
if [ -n "$out" ]; then
  mkdir -p "$out"
  # A long run is not to end in figures that cannot be written.
  for tool in jq gnuplot; do
    command -v "$tool" >/dev/null || { echo "--out needs $tool (--install installs it)" >&2; exit 1; }
  done
fi

entries_of() { "$BUILD/bench/floor" "$TREES/$1" | cut -d' ' -f1; }
threads() { SCAN_ENV="ORV_WALK_THREADS=$1 ${3:-}" bench_command "$2"; }

# The arguments of `measure` for one tree. What comes first is run to warm the caches and to count.
group_of() {
  local tree=$1 path=$TREES/$1 name
  ARGS+=(--group "$tree" "$(entries_of "$tree")")
  ARGS+=("floor=exec $BUILD/bench/floor $path")
  for name in summary everything; do
    ARGS+=("scan $name=$(bench_command "$name-$tree")")
    [ ${#cpu[@]} -gt 0 ] || ARGS+=("scan $name, 2 threads=$(threads 2 "$name-$tree")")
  done
  [ ${#cpu[@]} -gt 0 ] || ARGS+=("scan everything, 8 threads=$(threads 8 "everything-$tree")")
  if has du; then ARGS+=("du -s=exec du -sx $path"); fi
  if has find; then ARGS+=("find -printf=exec find $path -xdev -printf '$FIELDS'"); fi
  if has bfs; then ARGS+=("bfs -printf=exec bfs $path -xdev -printf '$FIELDS'"); fi
  if has ncdu; then ARGS+=("ncdu=exec ncdu -0xo /dev/null $path"); fi
  if has gdu; then ARGS+=("gdu=exec gdu -npsx $path"); fi
  if has duc; then ARGS+=("duc=exec duc index -xd $AGENT/duc.db $path"); fi
  if has agedu; then ARGS+=("agedu=exec agedu -f $AGENT/agedu.dat -s $path"); fi
}
ARGS=("${cpu[@]}" --base floor --base 'du -s')
for tree; do group_of "$tree"; done

# heading NAME TITLE ROUNDS: of what is measured next, into $raw/NAME.json.
heading() {
  printf '%s, %s rounds' "$2" "$3" >"$raw/$1.title"
  printf '\n%s\n' "$(cat "$raw/$1.title")"
}

# run NAME TITLE ROUNDS ARGUMENT...
run() {
  local name=$1
  heading "$1" "$2" "$3"
  "$BUILD/bench/measure" --rounds "$3" --json "$raw/$name.json" "${@:4}"
}

sections=()
if [ "$rounds" -gt 0 ]; then
  run warm 'Warm caches' "$rounds" "${ARGS[@]}"
  sections+=(warm)
fi
if [ "$cold_rounds" -gt 0 ]; then
  run cold 'Dropped caches' "$cold_rounds" --before 'sync; echo 3 >/proc/sys/vm/drop_caches' "${ARGS[@]}"
  sections+=(cold)
fi
[ -n "$out" ] && [ "$rounds" -gt 0 ] || exit 0

# What does not depend on the size of the tree is measured on the first one.
job=everything-$1
group=(--group "$1" "$(entries_of "$1")")
run slow '200 microseconds added to every stat, every statistic' "$rounds" --base 'one thread' "${group[@]}" \
  "one thread=$(threads 1 "$job" "LD_PRELOAD=$BUILD/bench/libslowstat.so")" \
  "2 threads=$(threads 2 "$job" "LD_PRELOAD=$BUILD/bench/libslowstat.so")" \
  "8 threads=$(threads 8 "$job" "LD_PRELOAD=$BUILD/bench/libslowstat.so")"
sections+=(slow)

# The other scripts measure on the middle tree, or on the first where that is not wanted.
middle=$1
for tree; do [ "$tree" != t400k ] || middle=t400k; done
heading timeout 'With a time-out, every statistic' "$rounds"
heading slow-timeout 'With a time-out and 200 microseconds added to every stat' "$rounds"
"$BENCH/timeout.sh" --json "$raw" "$middle" "$1" "$rounds"
heading selection 'Selections, against one profile without any' "$rounds"
"$BENCH/selection.sh" --rounds "$rounds" --json "$raw/selection.json" "$middle"
sections+=(timeout slow-timeout selection)

# What plot.gp draws: a block per command, the costliest on the largest tree first.
jq -r 'group_by(.name) | map(sort_by(.entries)) | sort_by(-.[-1].costPerEntry) | .[] |
  "", "", "\"\(.[0].name) \(.[-1].costPerEntry * 100 | round / 100)\"",
  (.[] | "\(.entries) \(.costPerEntry)")' "$raw/warm.json" >"$raw/cost.dat"
gnuplot -c "$BENCH/plot.gp" "$raw/cost.dat" "$out/cost.svg"

{
  printf 'One run, %s: %s processors (%s), Linux %s.\n' "$(date +%F)" "$(nproc)" \
    "$(sed -n 's/^model name[^:]*: *//p' /proc/cpuinfo | head -n 1)" "$(uname -r)"
  for name in "${sections[@]}"; do
    printf '\n### %s\n\n' "$(cat "$raw/$name.title")"
    jq -r -f "$BENCH/table.jq" "$raw/$name.json"
  done
} >"$raw/figures.md"

page=$out/performance.md
if [ -e "$page" ]; then
  [ "$(grep -cE '^<!-- /?figures -->$' "$page")" = 2 ] ||
    { echo "$page has no marks between which the figures belong; they are in $out/figures.md" >&2
      cp "$raw/figures.md" "$out/figures.md"; exit 1; }
  sed -e "/^<!-- figures -->\$/r $raw/figures.md" -e '/^<!-- figures -->$/,/^<!-- \/figures -->$/{/^<!-- .*figures -->$/!d}' \
    "$page" >"$raw/page.md"
  cp "$raw/page.md" "$page"
else
  cp "$raw/figures.md" "$out/figures.md"
fi
