#!/bin/bash
# Checks that no include runs against the arrows between the rooms, and that inside a room no units
# include each other in a circle: scripts/arrows.sh
# The arrows stand in the table of docs/architecture.md; a row may name only rooms above it. A unit
# is the header and the source of one name.
set -euo pipefail
cd "$(dirname "$0")/.."

# Units that are one class cut in two, and may know each other: what is walked and who walks it.
PAIRS='Scan/walk/Scanner:Scan/walk/DirectoryReader Scan/unix/ScannerUnix:Scan/unix/DirectoryReaderUnix
       Scan/unix/ScannerUnix:Scan/unix/DirectoryReaderAhead'

awk -v pairs="$(echo $PAIRS)" '
  BEGIN {
    count = split(pairs, pair, " ")
    for (i = 1; i <= count; ++i) {
      split(pair[i], name, ":")
      isPair["src/" name[1], "src/" name[2]] = isPair["src/" name[2], "src/" name[1]] = 1
    }
  }
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
  function unitOf(path) {
    sub(/\.[a-z]+$/, "", path)
    return path
  }
  # Includes from a unit that none includes, or of one that includes none, are taken away until only
  # circles, and what leads from one to another, are left.
  function circles(  edge, part, from, to, again) {
    do {
      again = 0
      split("", from); split("", to)
      for (edge in includes) { split(edge, part, SUBSEP); from[part[1]] = to[part[2]] = 1 }
      for (edge in includes) {
        split(edge, part, SUBSEP)
        if (!(part[1] in to) || !(part[2] in from)) { delete includes[edge]; again = 1 }
      }
    } while (again)
    for (edge in includes) {
      split(edge, part, SUBSEP)
      print includes[edge] ": " part[1] " and " part[2] " lie in a circle of units"
      failed = 1
    }
  }
  FNR == 1 && !(roomOf(FILENAME) in room) {
    print FILENAME ": lies in no room of docs/architecture.md"
    failed = 1
  }
  /^#include "/ {
    split($0, quoted, "\"")
    included = quoted[2] ~ /^orvctl\// ? quoted[2] : "src/" quoted[2]
    from = roomOf(FILENAME)
    to = roomOf(included)
    ++checked
    if (from != to && !((from, to) in allowed)) {
      print FILENAME ":" FNR ": " from " must not include " quoted[2]
      failed = 1
    }
    included = unitOf(included)
    if (from == to && included != unitOf(FILENAME) && !((unitOf(FILENAME), included) in isPair))
      includes[unitOf(FILENAME), included] = FILENAME ":" FNR
  }
  END {
    circles()
    if (rows < 2 || checked < 2) { print "arrows: nothing was checked"; failed = 1 }
    exit failed
  }' docs/architecture.md $(find src orvctl -name '*.cpp' -o -name '*.h' | sort) ||
  { echo "arrows: includes run against the rooms' arrows, or in circles" >&2; exit 1; }
