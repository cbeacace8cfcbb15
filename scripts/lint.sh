#!/bin/bash
# Checks format, lint, scripts and generated documents. Changes nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build lint

find scripts bench .ci -type f \( -name '*.sh' -o -path .ci/run \) -print0 | xargs -0 -n1 bash -n
scripts/messages-doc.sh --check
scripts/arrows.sh

sources() {
  find src orvctl tests bench -type f "$@" -print0
}
sources \( -name '*.cpp' -o -name '*.h' \) | xargs -0 clang-format --dry-run -Werror

cmake --preset debug >/dev/null
# Sources include what is generated from share.proto, so that has to be there.
cmake --build --preset debug --target orv_share_records -- --quiet
# Warnings are the compiler's business: -w. The count of those in system headers is no finding.
sources -name '*.cpp' |
  xargs -0 -P"$(nproc)" -n4 clang-tidy --quiet -p build/debug \
    --extra-arg=-w 2> >(grep -v 'warnings generated' >&2)

echo "lint: no findings"
