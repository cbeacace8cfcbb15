# Sourced by the benchmark scripts: makes a throw-away agent directory and jobs in it.
#
#   bench_setup TREE...             makes $AGENT with the programs of the build, and its mount table
#   bench_definition NAME TREE FIELDS VALUES   defines a job with one profile
#   bench_profiles NAME TREE FIELDS ROWS       defines a job with a profile per line of ROWS
#   bench_command NAME              prints the shell command that runs the job
#   bench_tree NAME                 makes one of the standard trees below $TREES unless it is there

TREES=${TREES:-/var/tmp/orv-bench}
BENCH=$(dirname -- "$(realpath -- "${BASH_SOURCE[0]}")")
BUILD=$(realpath -- "${BUILD:-$BENCH/../build/release}") || exit 1
[ -x "$BUILD/agent/bin/scan" ] || { echo "no $BUILD/agent/bin/scan: build the release preset first" >&2; exit 1; }

# The standard trees: entries of the long-tailed part, depth of the chain, files of the one flat
# directory, hard links.
declare -A TREE_SHAPES=(
  [t40k]="40000 150 0 500"
  [t400k]="400000 150 0 5000"
  [t4m]="3000000 150 1000000 20000"
)

bench_tree() {
  [ -n "${TREE_SHAPES[$1]:-}" ] || { echo "no standard tree is called $1 (${!TREE_SHAPES[*]})" >&2; return 1; }
  [ -d "$TREES/$1" ] && return
  mkdir -p "$TREES"
  rm -rf -- "$TREES/$1.part"
  # shellcheck disable=SC2086
  "$BUILD/bench/mktree" "$TREES/$1.part" ${TREE_SHAPES[$1]}
  mv -- "$TREES/$1.part" "$TREES/$1"
}

bench_setup() {
  local tree
  AGENT=$(mktemp -d)
  trap 'rm -rf -- "$AGENT"' EXIT
  mkdir -p "$AGENT"/{bin,nls,input/bench,output,log,config}
  cp "$BUILD/agent/nls/xrmna.cat" "$AGENT/nls/"
  cp "$BUILD/agent/bin/scan" "$BUILD/agent/bin/Agent" "$AGENT/bin/"
  for tree; do printf '%s %s benchfs rw 0 0\n' "$tree" "$tree"; done >"$AGENT/mtab"
  export ORV_MNTTAB=$AGENT/mtab
}

bench_definition() { bench_profiles "$1" "$2" "$3" "1,$4"; }

# Each row starts with the profile's type. The definition is kept beside the input, which each run
# uses up. $DIRECTORIES may hold rows of MonDirSpec (mdsPath only).
bench_profiles() {
  local name=$1 tree=$2 fields=$3 rows=$4 id=0 row
  {
    printf '[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[Filesystem]\nfsID,fsMountPoint,fsType\n'
    printf '[MonDirSpec]\nmdsID,mdsPath\n[CuStatDef]\nsdID,sdName,sdType,%s\n[/Header]\n' "$fields"
    printf '[AgentScan]\n"%s",1\n[Filesystem]\n1,"%s",11\n[/Filesystem]\n' "$name" "$tree"
    while IFS= read -r row; do
      [ -n "$row" ] && printf '[MonDirSpec]\n%d,"%s"\n[/MonDirSpec]\n' $((++id)) "$row"
    done <<<"${DIRECTORIES:-}"
    id=0
    while IFS= read -r row; do
      printf '[CuStatDef]\n%d,"bench%d",%s\n[/CuStatDef]\n' $((++id)) "$id" "$row"
    done <<<"$rows"
    printf '[/AgentScan]\n'
  } >"$AGENT/$name.dat"
}

# $SCAN_ENV may hold environment settings for the job. A job that ends with another code than 0 counts
# as failed.
bench_command() {
  printf 'cp %s/%s.dat %s/input/bench/%s.00000001_scan.0001.dat && exec env %s %s/bin/scan -scan -installLoc %s -serverName bench -jobName %s -jobRunNumber 1 -sidRunNumber 1' \
    "$AGENT" "$1" "$AGENT" "$1" "${SCAN_ENV:-}" "$AGENT" "$AGENT" "$1"
}

SUMMARY_FIELDS=sdSummary
SUMMARY_VALUES=Y
EVERYTHING_FIELDS=sdSummary,sdSizeDistribution,sdGroupByOwner,sdGroupByGroup,sdGroupByAccess,sdGroupByMod,sdGroupByBackup,sdLargestDirectories,sdLargestFiles,sdLeastAccessed,sdOldestNotBackedUp,sdLargestOrphans,sdOldestOrphans,sdLargestFileTypes
EVERYTHING_VALUES=Y,Y,Y,Y,Y,Y,Y,20,20,20,20,20,20,20
