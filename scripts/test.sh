#!/bin/bash
# Installs what is missing, builds everything and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build test
cmake --preset release
cmake --build --preset release -j"$(nproc)"
ctest --preset release -j2
