#!/bin/bash
# Checks that no include runs against the arrows between the rooms: scripts/arrows.sh
# The arrows stand in the table of docs/architecture.md; a row may name only rooms above it.
set -euo pipefail
cd "$(dirname "$0")/.."

awk '
  # The table: room[r] is its row, allowed[r, t] an arrow.
  FILENAME == ARGV[1] {
    if (/^<!-- arrows -->/) { inTable = 1; next }
    if (/^<!-- \/arrows -->/) inTable = 0
    if (!inTable || !/^\| `/) next
    split($0, cell, "|")
    gsub(/[` ]/, "", cell[2])
    count = split(cell[3], target, " ")
    for (i = 1; i <= count; ++i) {
      gsub(/`/, "", target[i])
      if (target[i] == "") continue
      if (!(target[i] in room)) {
        print "docs/architecture.md: " cell[2] " -> " target[i] " points to no room above it"
        failed = 1
      }
      allowed[cell[2], target[i]] = 1
    }
    room[cell[2]] = ++rows
    next
  }
  # The room of a path: the longest name of a room that it lies in.
  function roomOf(path) {
    while (sub(/\/[^\/]*$/, "", path))
      if (path in room) return path
    return ""
  }
  FNR == 1 && !(roomOf(FILENAME) in room) {
    print FILENAME ": lies in no room of docs/architecture.md"
    failed = 1
  }
  /^#include "/ {
    split($0, quoted, "\"")
    from = roomOf(FILENAME)
    to = roomOf(quoted[2] ~ /^orvctl\// ? quoted[2] : "src/" quoted[2])
    ++checked
    if (from != to && !((from, to) in allowed)) {
      print FILENAME ":" FNR ": " from " must not include " quoted[2]
      failed = 1
    }
  }
  END {
    if (rows < 2 || checked < 2) { print "arrows: nothing was checked"; failed = 1 }
    exit failed
  }' docs/architecture.md $(find src orvctl -name '*.cpp' -o -name '*.h' | sort) ||
  { echo "arrows: includes run against the rooms' arrows" >&2; exit 1; }
