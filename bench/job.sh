# Sourced by the benchmark scripts: makes a throw-away agent directory and jobs in it.
#
#   bench_setup TREE            makes $AGENT with the programs of the build, and its mount table
#   bench_definition FIELDS VALUES  writes the definition of a job with one profile
#   $SCAN                       the command line that runs the job

bench_setup() {
  TREE=$(realpath -- "$1")
  BUILD=${BUILD:-$(dirname -- "$(realpath -- "${BASH_SOURCE[0]}")")/../build/release}
  BUILD=$(realpath -- "$BUILD") || exit 1
  [ -x "$BUILD/agent/bin/scan" ] || { echo "no $BUILD/agent/bin/scan: build the release preset first" >&2; exit 1; }
  AGENT=$(mktemp -d)
  trap 'rm -rf -- "$AGENT"' EXIT
  mkdir -p "$AGENT"/{bin,nls,input/bench,output,log,config}
  cp "$BUILD/agent/nls/xrmna.cat" "$AGENT/nls/"
  cp "$BUILD/agent/bin/scan" "$BUILD/agent/bin/Agent" "$AGENT/bin/"
  printf '%s %s benchfs rw 0 0\n' "$TREE" "$TREE" >"$AGENT/mtab"
  export ORV_MNTTAB=$AGENT/mtab
}

# A job NAME of one profile with the given switches, kept beside the input and copied before each run.
bench_definition() {
  local name=$1 fields=$2 values=$3
  cat >"$AGENT/$name.dat" <<EOF
[Header]
[AgentScan]
asJobName,asScanningCompID
[Filesystem]
fsID,fsMountPoint,fsType
[CuStatDef]
sdID,sdName,sdType,$fields
[/Header]
[AgentScan]
"$name",1
[Filesystem]
1,"$TREE",11
[/Filesystem]
[CuStatDef]
1,"bench",1,$values
[/CuStatDef]
[/AgentScan]
EOF
}

# The shell command that runs job NAME; SCAN_ENV may hold environment settings for it.
bench_command() {
  printf 'cp %s/%s.dat %s/input/bench/%s.00000001_scan.0001.dat && exec %s %s/bin/scan -scan -installLoc %s -serverName bench -jobName %s -jobRunNumber 1 -sidRunNumber 1' \
    "$AGENT" "$1" "$AGENT" "$1" "${SCAN_ENV:-env}" "$AGENT" "$AGENT" "$1"
}

SUMMARY_FIELDS=sdSummary
SUMMARY_VALUES=Y
EVERYTHING_FIELDS=sdSummary,sdSizeDistribution,sdGroupByOwner,sdGroupByGroup,sdGroupByAccess,sdGroupByMod,sdGroupByBackup,sdLargestDirectories,sdLargestFiles,sdLeastAccessed,sdOldestNotBackedUp,sdLargestOrphans,sdOldestOrphans,sdLargestFileTypes
EVERYTHING_VALUES=Y,Y,Y,Y,Y,Y,Y,20,20,20,20,20,20,20
