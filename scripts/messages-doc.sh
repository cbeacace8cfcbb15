#!/bin/bash
# Makes docs/messages.md from the catalog source:   scripts/messages-doc.sh
# With --check it only says whether the file is current, and whether code and catalog name the same
# messages, each with its cause and remedy.
set -euo pipefail
cd "$(dirname "$0")/.."

document() {
  cat <<'HEAD'
# Messages

Every message that the scan job writes to its activity log, with its cause and its remedy. The last
letter of an ID tells the kind: I information, W warning, E error, T text or the end of the job.
`{}` stands for a value that the job fills in. The number is the message's key in the catalog.

This page is made from `nls/xrmna.msg` by `scripts/messages-doc.sh`; edit that file instead.
HEAD
  awk '
    /^\$ @id /     { id = $3 }
    /^\$ @cause /  { sub(/^\$ @cause /, "");  cause = $0 }
    /^\$ @remedy / { sub(/^\$ @remedy /, ""); remedy = $0 }
    /^[0-9]+ "/ {
      number = $1
      text = $0
      sub(/^[0-9]+ "/, "", text)
      sub(/"$/, "", text)
      printf "\n## %s (%s)\n\n> %s\n\n- **Cause:** %s\n- **Remedy:** %s\n",
             id, number, text, cause, remedy
    }' nls/xrmna.msg
}

if [[ ${1:-} == --check ]]; then
  document | cmp -s - docs/messages.md || {
    echo "docs/messages.md is not current: run scripts/messages-doc.sh" >&2
    exit 1
  }
  diff <(sed -nE 's/.*\{([0-9]+),[[:space:]]+"([A-Z]{3}[0-9]{4}[A-Z])"\}.*/\2 \1/p' \
           src/runtime/nls/Messages.h | sort) \
       <(awk '/^\$ @id /              { id = $3; said = 0 }
              /^\$ @(cause|remedy) ./ { ++said }
              /^[0-9]+ "[^"]+"$/     { if (said == 2) print id, $1; id = "" }' nls/xrmna.msg | sort) || {
    echo "the messages of the code (<) are not those of the catalog (>)" >&2
    exit 1
  }
else
  document > docs/messages.md
fi
