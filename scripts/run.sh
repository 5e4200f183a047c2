#!/usr/bin/env bash
# Builds the qorvintr command (preset "default") and runs it on the bundled example: the data
# fields of a finished document (examples/document-fields.txt) and the scripts of the fields of
# its outgoing HL7 message (examples/hl7-scripts.txt), shown as a table of field, value and
# script. Extra arguments go to "qorvintr run" (for instance --errors, --log-stderr,
# --field SexCode=M, or --fields FILE --scripts FILE for your own files).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-$(nproc)}
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# Quiet unless the build fails.
if ! { cmake --preset default >"$log" 2>&1 &&
       cmake --build --preset default --target qorvintr -j "$jobs" >>"$log" 2>&1; }; then
  cat "$log" >&2
  echo "run.sh: the build of qorvintr failed" >&2
  exit 1
fi
exec build/default/qorvintr run --fields examples/document-fields.txt \
  --scripts examples/hl7-scripts.txt "$@"
