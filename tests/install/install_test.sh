#!/bin/bash
# Installs a build under a prefix and uses it there:   install_test.sh CMAKE BUILD_DIRECTORY
set -euo pipefail

cmake=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "install_test: $*" >&2
  exit 1
}

# Runs a command as it would run for somebody with that home directory.
run() {
  env -u STATE_DIRECTORY -u XDG_STATE_HOME -u ORV_AGENT -u ORV_DB HOME="$work/home" \
    XDG_CONFIG_HOME="$work/config" "$@"
}
# expect TEXT COMMAND...: the command's output holds the text.
expect() {
  local text=$1
  shift
  run "$@" >"$work/out" 2>&1 || true
  grep -qF -- "$text" "$work/out" || { cat "$work/out" >&2; fail "no \"$text\" of: $*"; }
}

mkdir -p "$work/config/orvscan" "$work/scanned" "$work/home"
touch "$work/scanned/file"
"$cmake" --install "$build" --prefix "$work/first" >/dev/null
orvctl=$work/first/bin/orvctl

echo "where it was installed, through a link, and moved as a whole"
for program in "$orvctl" "$work/link"; do
  [[ -e $program ]] || ln -s "$orvctl" "$program"
  expect "$work/scanned" "$program" scan "$work/scanned" --agent "$work/agent" --summary
done
mv "$work/first" "$work/second"
orvctl=$work/second/bin/orvctl
expect "$work/scanned" "$orvctl" scan "$work/scanned" --agent "$work/agent" --summary
[[ ! -e $work/second/input && ! -e $work/second/output ]] || fail "it keeps jobs below its prefix"

echo "state is kept where it belongs, with the stand-in of this version"
in_state() {
  run env STATE_DIRECTORY="$work/state:/nowhere" "$orvctl" scan "$work/scanned" --summary >"$work/out" 2>&1 ||
    { cat "$work/out" >&2; fail "no scan in the state directory"; }
}
in_state
[[ -s $work/state/output/local/orvctl.00000001_scan.0001.dat ]] || fail "the result is not in the state directory"
echo "of an older version" >"$work/state/bin/Agent"
in_state
cmp "$work/state/bin/Agent" "$work/second/libexec/orvscan/Agent" || fail "the stand-in is an old one"
if [[ $(id -u) -eq 0 ]]; then
  mkdir "$work/nobody"
  chown nobody "$work/nobody"
  chmod 755 "$work"
  setpriv --reuid=nobody --clear-groups env -u XDG_STATE_HOME HOME="$work/nobody" XDG_CONFIG_HOME=/nowhere \
    "$orvctl" scan "$work/scanned" --summary >"$work/out" 2>&1 || { cat "$work/out" >&2; fail "no scan of a user"; }
  [[ -d $work/nobody/.local/state/orvscan/output ]] || fail "a user's state is not in the home directory"
else
  echo "SKIPPED: the state of another user: only root can become one"
fi

echo "a part that is missing is named"
for part in libexec/orvscan/scan libexec/orvscan/Agent share/orvscan/xrmna.cat; do
  mv "$work/second/$part" "$work/part"
  expect "orvctl is not completely installed: $work/second/$part:" "$orvctl" scan "$work/scanned"
  mv "$work/part" "$work/second/$part"
done
cp "$orvctl" "$work/alone"
expect "not completely installed" "$work/alone" scan "$work/scanned"

echo "settings: command line, environment, the user's file"
settings=$work/config/orvscan/orvctl.toml
printf 'db = "/no/file.db"\n[scan]\ntop = 0\n' >"$settings"
expect /no/file.db "$orvctl" history list
expect /no/env.db env ORV_DB=/no/env.db "$orvctl" history list
expect /no/line.db env ORV_DB=/no/env.db "$orvctl" history list --db /no/line.db
expect "settings $settings: scan.top:" "$orvctl" scan "$work/scanned"
expect "Usage:" "$orvctl" scan --help
echo 'no_such = 1' >"$settings"
expect "settings $settings: no_such: there is no such option" "$orvctl" jobs
echo 'db = "/no/named.db"' >"$work/named.toml"
expect /no/named.db "$orvctl" --config "$work/named.toml" history list
