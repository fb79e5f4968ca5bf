#!/bin/bash
# reader_dialog.sh SYSTEM READER_DIALOG -- RUN...
# The reader dialog on the system's PC/SC: with the readers that TELVO_READERS names, or without any.
set -eu
program=$2
shift 3
output=$("$@" "$program" | tr -d '\r') || { echo "$output"; exit 1; }
echo "$output"
# The tests of the other case are left out, and nothing else is.
if [ -n "${TELVO_READERS:-}" ]; then expected=3 skipped=1; else expected=1 skipped=3; fi
grep -qE "PASSED.* $expected test" <<<"$output" || { echo "FAILED: not $expected tests passed"; exit 1; }
grep -qE "SKIPPED.* $skipped test" <<<"$output" || { echo "FAILED: not $skipped tests were left out"; exit 1; }
