#!/bin/bash
# Installs what is missing, builds, and scans a directory: scripts/quickstart.sh [PATH]   (/usr)
# Ends with the exit code of the scan.
set -euo pipefail

path=$(realpath -m -- "${1:-/usr}")
[[ -d $path ]] || {
  echo "quickstart: cannot scan $path: not a directory" >&2
  exit 1
}

cd "$(dirname "$0")/.."
scripts/install-deps.sh build
cmake --preset release
cmake --build --preset release -j"$(nproc)" --target scan Agent orvctl catalog
exec build/release/agent/bin/orvctl scan "$path"
