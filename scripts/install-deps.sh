#!/bin/bash
# Installs the Debian packages that the given purposes need and that are missing:
#   scripts/install-deps.sh [build] [test] [lint] [fuzz] [package] [bench]
# The first three without an argument.
# Runs without questions. Needs root or sudo only when something is missing.
set -euo pipefail

# A name with a question mark is left out where the release has no such package any more.
declare -A packages=(
  # Compiler, build tools, libraries; gencat is in libc-dev-bin, ps (which the locks ask) in procps.
  [build]="g++ cmake ninja-build pkg-config libc-dev-bin procps libpcre3-dev? libre2-dev libfmt-dev
           libcli11-dev nlohmann-json3-dev libabsl-dev libgtest-dev libbenchmark-dev node-d3
           libsoci-dev libboost-dev libsqlite3-dev libpq-dev
           libprotobuf-dev protobuf-compiler zlib1g-dev"
  # Filesystems that the tests make and mount; independent readers of what orvctl exports; a
  # database server and a cluster that they start.
  [test]="libfuse3-dev fuse3 mount e2fsprogs dosfstools xfsprogs btrfs-progs util-linux postgresql
          python3 python3-jsonschema python3-selenium chromium-driver prometheus prometheus-node-exporter
          slurm-wlm munge"
  [lint]="clang-format clang-tidy"
  [fuzz]="clang libclang-rt-14-dev llvm"
  # What builds the Debian package and checks it; a bare system is made to install it in.
  [package]="debhelper dpkg-dev fakeroot pandoc lintian blhc binutils debootstrap"
  # Programs to compare with, and what makes figures and plot of the document.
  [bench]="ncdu duc-nox gdu agedu bfs gnuplot-nox jq"
)

fail() {
  echo "install-deps: $*" >&2
  exit 1
}

is_installed() {
  [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

[[ $# -gt 0 ]] || set -- build test lint

wanted=()
for purpose in "$@"; do
  [[ -v packages[$purpose] ]] || fail "unknown purpose '$purpose' (build, test, lint, fuzz, package or bench)"
  # Words of the list are package names.
  # shellcheck disable=SC2206
  wanted+=(${packages[$purpose]})
done

command -v dpkg-query >/dev/null && command -v apt-get >/dev/null ||
  fail "this system has no Debian package manager; install by hand what Debian calls: ${wanted[*]}"

missing=()
for package in "${wanted[@]}"; do
  is_installed "${package%\?}" || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null ||
    fail "installing needs root and there is no sudo; as root run: apt-get install ${missing[*]}"
  as_root=(sudo)
fi

echo "Installing: ${missing[*]}"
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y)
# The tests start the servers that they need, on ports of their own: none is to run because of them.
policy=/usr/sbin/policy-rc.d
if [[ ! -e $policy ]]; then
  trap '"${as_root[@]}" rm -f "$policy"' EXIT
  printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
  "${as_root[@]}" chmod 755 "$policy"
fi
"${apt[@]}" update || fail "apt-get update failed; check the package sources of this system"
available=()
for package in "${missing[@]}"; do
  [[ $package != *\? ]] || apt-cache show "${package%\?}" >/dev/null 2>&1 || continue
  available+=("${package%\?}")
done
[[ ${#available[@]} -gt 0 ]] || exit 0
"${apt[@]}" install --no-install-recommends "${available[@]}" ||
  fail "apt-get could not install: ${available[*]}"
