#!/bin/bash
# Builds the Debian package in build/package and checks it:   scripts/package.sh [STEP]...
#
#   build      dpkg-buildpackage in a copy of the sources; hardening, size and lintian
#   inside     as build, but in a bare system, for what its libraries and compiler are; no checks
#   reproduce  builds once more elsewhere, in another locale and time zone, and compares
#   check      installs it in a bare system (debootstrap) and uses it: scan, history, pages,
#              completion, units, upgrade, remove, purge
#
# Without an argument: build and check. ORV_SUITE is the release of the bare system (bookworm),
# ORV_MIRROR where its packages come from, ORV_BASE a tar of it to unpack instead of making one.
# Ends with code 77 and the reason where a step cannot be done on this machine.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly out=$PWD/build/package
readonly bare=$out/bare
readonly suite=${ORV_SUITE:-bookworm}
readonly mirror=${ORV_MIRROR:-http://deb.debian.org/debian}
readonly most_kib=2048

fail() {
  echo "package: $*" >&2
  exit 1
}

skip() {
  echo "SKIPPED: package: $*"
  exit 77
}

version() {
  sed -nE 's/^project\(orvscan VERSION ([0-9.]+).*/\1/p' CMakeLists.txt
}

# Everything but what builds left.
copy_sources() {
  mkdir -p "$1"
  tar --exclude=./build --exclude=./.git --exclude=./.cache -cf - . | tar -C "$1" -xf -
}

# build_in DIRECTORY: leaves the package there, and build.log.
build_in() {
  local tree=$1/orvscan-$(version)
  rm -rf "$1"
  copy_sources "$tree"
  (cd "$tree" && DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" \
    dpkg-buildpackage -b -us -uc >"$1/build.log" 2>&1) ||
    { tail -n 40 "$1/build.log" >&2; fail "the build failed; see $1/build.log"; }
}

package_in() {
  echo "$1"/orvscan_*.deb
}

# Every program has what the compiler can do for it. That it is position independent is a default of the
# compiler, which the log does not show.
check_hardening() {
  local root=$1 program
  blhc --bindnow "$out/first/build.log" || fail "the build leaves out hardening flags (above)"
  for program in "$root"/usr/bin/orvctl "$root"/usr/libexec/orvscan/{scan,Agent}; do
    readelf -hld --wide "$program" >"$out/elf"
    grep -q 'Type: *DYN' "$out/elf" || fail "$program: not position independent"
    grep -q 'GNU_RELRO' "$out/elf" && grep -q 'BIND_NOW' "$out/elf" || fail "$program: no full RELRO"
    # The mark of the whole program is not there: the C library's start files have none.
    [[ $(uname -m) != x86_64 ]] ||
      (($(objdump -d --no-show-raw-insn "$program" | grep -c 'endbr64') > 10)) ||
      fail "$program: functions without landing pads for indirect calls"
  done
}

step_build() {
  scripts/install-deps.sh build package
  build_in "$out/first"
  local deb root=$out/root
  deb=$(package_in "$out/first")
  rm -rf "$root"
  dpkg-deb -x "$deb" "$root"
  check_hardening "$root"
  local kib
  kib=$(dpkg-deb -f "$deb" Installed-Size)
  ((kib <= most_kib)) || fail "$deb takes $kib KiB installed, more than $most_kib"
  lintian --no-tag-display-limit --fail-on error,warning "$out"/first/orvscan_*.changes ||
    fail "lintian has findings (above)"
  echo "package: $deb: $kib KiB installed, hardened, lintian has no findings"
}

step_reproduce() {
  [[ -f $(package_in "$out/first") ]] || build_in "$out/first"
  # A compiler that answers from a cache would compare the cache.
  (umask 077 && CCACHE_DISABLE=1 LC_ALL=C.UTF-8 TZ=Asia/Kathmandu build_in "$out/second/elsewhere")
  cmp "$(package_in "$out/first")" "$(package_in "$out/second/elsewhere")" ||
    fail "two builds differ"
  echo "package: two builds are equal byte for byte"
}

# The package as its version before would be: the same files under a lower number.
make_previous() {
  local tree=$out/previous
  rm -rf "$tree" "$tree.deb"
  dpkg-deb -R "$1" "$tree"
  sed -i 's/^Version: .*/&~previous/' "$tree/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$tree" "$tree.deb" >/dev/null
}

# Makes a bare system in $bare.
make_bare() {
  [[ $(id -u) -eq 0 ]] || skip "a bare system can be made by root only"
  unshare --mount true 2>/dev/null || skip "no mount namespace is to be had"
  scripts/install-deps.sh package
  rm -rf --one-file-system "$bare"
  mkdir -p "$bare"
  if [[ -n ${ORV_BASE:-} ]]; then
    tar -C "$bare" -xf "$ORV_BASE"
  else
    debootstrap --variant=minbase "$suite" "$bare" "$mirror" >"$out/debootstrap.log" 2>&1 ||
      skip "no bare $suite from $mirror: $(tail -n 1 "$out/debootstrap.log")"
  fi
}

# in_bare COMMAND...: runs it in there; its mounts and processes end with it.
in_bare() {
  # The variables are those of the shell that it starts.
  # shellcheck disable=SC2016
  unshare --mount --pid --fork bash -euc '
    mount -t proc proc "$0/proc"
    mount -t tmpfs tmpfs "$0/tmp"
    exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@"' "$bare" "$@"
}

step_check() {
  local deb
  deb=$(package_in "$out/first")
  [[ -f $deb ]] || fail "there is no package to check: run scripts/package.sh build"
  make_previous "$deb"
  make_bare
  install -D -t "$bare/checked" "$deb" "$out/previous.deb" scripts/package-check.sh debian/tests/installed
  in_bare /checked/package-check.sh || fail "the installed package does not what it should (above)"
  rm -rf --one-file-system "$bare"
}

step_inside() {
  make_bare
  rm -rf "$out/first"
  mkdir -p "$out/first"
  copy_sources "$bare/build/orvscan-$(version)"
  # The variables are those of the shell in there.
  # shellcheck disable=SC2016
  in_bare bash -euc 'export DEBIAN_FRONTEND=noninteractive
    apt-get -q update
    apt-get -q -y install --no-install-recommends build-essential
    cd /build/orvscan-*
    apt-get -q -y build-dep --no-install-recommends .
    DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" dpkg-buildpackage -b -us -uc' \
    >"$out/first/build.log" 2>&1 ||
    { tail -n 40 "$out/first/build.log" >&2; fail "the build in $suite failed; see $out/first/build.log"; }
  cp "$bare"/build/orvscan_* "$out/first"
  rm -rf --one-file-system "$bare"
  echo "package: built in $suite: $(package_in "$out/first")"
}

[[ $# -gt 0 ]] || set -- build check
for step in "$@"; do
  [[ $(type -t "step_$step") == function ]] || fail "unknown step '$step' (build, inside, reproduce or check)"
  "step_$step"
done
