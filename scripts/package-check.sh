#!/bin/bash
# Runs in a bare system: installs the package beside it, uses it, upgrades, removes and purges it.
# For scripts/package.sh.
set -euo pipefail
cd "$(dirname "$0")"

say() {
  echo "package-check: $*"
}
fail() {
  echo "package-check: $*" >&2
  exit 1
}

export DEBIAN_FRONTEND=noninteractive
apt-get -q update >/dev/null
# Without services: nothing is to start here.
printf '#!/bin/sh\nexit 101\n' >/usr/sbin/policy-rc.d
chmod 755 /usr/sbin/policy-rc.d
# What the checks themselves need; the package brings what it needs by itself.
apt-get -q -y install --no-install-recommends man-db systemd bash-completion >/tmp/apt.log 2>&1 ||
  { cat /tmp/apt.log >&2; exit 1; }
find / -xdev \( -path /tmp -o -path /proc -o -path /var/lib/dpkg -o -path /var/cache \) -prune -o -print |
  sort >/tmp/before

say "install"
apt-get -q -y install --no-install-recommends ./previous.deb >/tmp/apt.log 2>&1 ||
  { cat /tmp/apt.log >&2; exit 1; }
dpkg -s orvscan | grep -q '^Version: .*~previous$' || fail "the earlier version is not installed"
./installed

say "upgrade keeps state and settings"
echo '# mine' >>/etc/orvscan/orvctl.toml
orvctl scan /etc --history >/dev/null
orvctl history list >/tmp/history
apt-get -q -y install --no-install-recommends -o Dpkg::Options::=--force-confold ./orvscan_*.deb \
  >/tmp/apt.log 2>&1 || { cat /tmp/apt.log >&2; exit 1; }
dpkg -s orvscan | grep -q '^Version: .*~previous$' && fail "the package was not upgraded"
orvctl history list | diff /tmp/history - || fail "the upgrade lost history (<)"
orvctl report latest /etc --summary | grep -q '/etc' || fail "the upgrade lost the results"
grep -q '# mine' /etc/orvscan/orvctl.toml || fail "the upgrade lost settings"

say "remove keeps state and settings"
apt-get -q -y remove orvscan >/dev/null 2>&1
[[ ! -e /usr/bin/orvctl ]] || fail "removing leaves the program"
[[ -s /var/lib/orvscan/history.db && -s /etc/orvscan/orvctl.toml ]] || fail "removing takes state"

say "purge leaves nothing"
apt-get -q -y purge orvscan >/dev/null 2>&1
getent passwd orvscan && fail "purging leaves the user"
# What came with it are the packages that it depends on, and the caches of others.
find / -xdev \( -path /tmp -o -path /proc -o -path /var/lib/dpkg -o -path /var/cache \) -prune -o -print |
  sort | comm -13 /tmp/before - >/tmp/new
left=$(while read -r file; do
  dpkg -S "$file" >/dev/null 2>&1 || echo "$file"
done </tmp/new | grep -i orv || true)
[[ -z $left ]] || fail "purging leaves: $left"
say "all is as it should be"
