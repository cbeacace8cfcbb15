#!/bin/bash
# Checks that a release may be made of what is checked out:   scripts/release.sh [--versions]
#
# The version is that of project(VERSION). Changelogs and programs tell the same one, everything is
# committed, and lint, tests and package (built twice) are as they should be. Changes nothing but
# build/, and ends by saying which tag to set. --versions checks only that the files of the project
# agree, and allows changes that are not released yet.
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
  echo "release: $*" >&2
  exit 1
}

version=$(sed -nE 's/^project\(orvscan VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
[[ -n $version ]] || fail "CMakeLists.txt names no version"

# same WHERE WHAT: another place tells this version.
same() {
  [[ $2 == "$version" ]] || fail "$1 tells version '$2', CMakeLists.txt $version"
}

same CHANGELOG.md "$(sed -nE 's/^## \[([0-9.]+)\].*/\1/p' CHANGELOG.md | head -n 1)"
same debian/changelog "$(sed -nE '1s/^orvscan \(([^)]+)\).*/\1/p' debian/changelog)"
while read -r heading; do
  [[ $heading =~ ^'## ['([0-9.]+|Unreleased)']'( - [0-9]{4}-[0-9]{2}-[0-9]{2})?$|^'### '(Added|Changed|Deprecated|Removed|Fixed|Security)$ ]] ||
    fail "CHANGELOG.md: \"$heading\" is no heading of a changelog"
done < <(grep '^##' CHANGELOG.md)
for page in definition result; do
  grep -qE '^Version [0-9]+ of the format' "docs/$page-format.md" ||
    fail "docs/$page-format.md does not tell the version of the format"
done
# What a build needs is installed by a script, and by whoever builds the package.
for package in $(sed -nE '/\[build\]="/,/"$/{s/.*\[build\]="|"$//g;p}' scripts/install-deps.sh); do
  case $package in
    # In every build environment, or for tests and measurements only.
    g++ | libc-dev-bin | procps | libgtest-dev | libbenchmark-dev) ;;
    *) grep -qwF -- "${package%\?}" debian/control ||
      fail "debian/control: Build-Depends lacks $package" ;;
  esac
done
[[ ${1:-} != --versions ]] || exit 0

grep -qE "^## \[${version//./\\.}\] - " CHANGELOG.md || fail "CHANGELOG.md: $version has no date"
! grep -qF '## [Unreleased]' CHANGELOG.md || fail "CHANGELOG.md: there are changes under no version"
[[ -z $(git status --porcelain) ]] || fail "not everything is committed: $(git status --short | head -n 5)"
! git rev-parse -q --verify "refs/tags/v$version" >/dev/null || fail "the tag v$version is there already"

scripts/lint.sh
scripts/test.sh
same "orvctl --version" "$(build/release/agent/bin/orvctl --version | sed 's/^orvctl //')"
same "scan -version" "$(build/release/agent/bin/scan -version | grep -oE '[0-9]+(\.[0-9]+)+' | head -n 1)"
scripts/package.sh build reproduce check
echo "release: all is ready; now: git tag -a v$version -m 'orvscan $version'"
