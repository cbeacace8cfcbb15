#!/bin/bash
# Completes command lines in the shells themselves:   completion_test.sh ORVCTL_DOCUMENTS
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" "$work"
mkdir "$work/some directory"
touch "$work/some file"
cd "$work"

fail() {
  echo "completion_test: $*" >&2
  exit 1
}

# complete_line WORD...: what bash offers for the last word.
complete_line() {
  bash -c '
    source "$1/bash/orvctl"
    shift
    compopt() { :; }
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _orvctl
    printf "%s\n" "${COMPREPLY[@]}"' complete "$work" "$@"
}

# The words typed, and what must and must not be offered for the last of them.
while IFS='|' read -r typed offered withheld; do
  read -ra words <<<"$typed"
  [[ $typed == *' ' ]] && words+=("")
  complete_line "${words[@]}" >answer
  grep -qxF -- "$offered" answer || { cat answer >&2; fail "\"$typed\" does not offer $offered"; }
  ! grep -qxF -- "$withheld" answer || fail "\"$typed\" offers $withheld"
done <<'TABLE'
orvctl |scan|add
orvctl rep|report|scan
orvctl --config so|some file|scan
orvctl scan --form|--format|--host
orvctl scan --format |json|some file
orvctl scan --format = js|json|csv
orvctl scan so|some directory|some file
orvctl scan --where x --agent so|some directory|some file
orvctl report so|some file|scan
orvctl history |prune|scan
orvctl history list --form|--format|--keep
orvctl growth --by |owner|json
orvctl help |check-where|add
TABLE

# A shell that is not installed is left out, and said to be.
has() {
  command -v "$1" >/dev/null || { echo "SKIPPED: completion of $1: it is not installed"; false; }
}
! has zsh || zsh -n "$work/zsh/_orvctl"
! has fish || while IFS='|' read -r typed offered; do
  fish -c "source $work/fish/orvctl.fish; complete -C '$typed'" >answer 2>&1
  cut -f1 answer | grep -qxF -- "$offered" ||
    { cat answer >&2; fail "fish: \"$typed\" does not offer $offered"; }
done <<'TABLE'
orvctl hi|history
orvctl history list --format |json
orvctl report so|some file
orvctl scan --agent so|some directory/
TABLE
