#!/bin/bash
# A year of a fleet: loads 365 scans of 20 hosts into SQLite and PostgreSQL and times what growth
# answers: bench/history.sh [HOSTS [DAYS]]
set -euo pipefail
cd "$(dirname "$0")/.."

orvctl=$PWD/build/release/agent/bin/orvctl
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
python3 -B tests/history/made_history.py "$scratch/results" "${1:-20}" "${2:-365}"

# Elapsed seconds of a command whose output does not matter.
timed() {
  local TIMEFORMAT="  $1: %R s"
  shift
  time "$@" >"$scratch/output"
}

measure() {
  local db=$1
  echo "${db%%:*}" | sed 's,/.*,SQLite,'
  # More results than one command line holds.
  find "$scratch/results" -name '*.dat' | sort >"$scratch/list"
  timed "load $(wc -l <"$scratch/list") scans" xargs -a "$scratch/list" -n 2000 "$orvctl" history add --db "$db"
  for question in '--by host' '--by directory' '--by owner --since 1y' '--by type --since 1y' \
    '--since 1y /data/d03' '--host host00 --since 1y'; do
    # Words of the question are arguments.
    # shellcheck disable=SC2086
    timed "growth $question" "$orvctl" growth --db "$db" $question
  done
}

measure "$scratch/history.db"
export -f measure timed
export orvctl scratch
python3 -B tests/history/with_postgres.py bash -c 'set -euo pipefail; measure "$ORV_TEST_POSTGRES"'
