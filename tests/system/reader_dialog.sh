#!/bin/bash
# reader_dialog.sh SYSTEM READER_DIALOG WINSCARD_FOLDER -- RUN...
# The reader dialog on the system's PC/SC: without a reader, and with virtual ones. WINSCARD_FOLDER holds winscard.dll and
# pcscbridge.dll.
set -eu
program=$2 winscard=$3
shift 4
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
. "$(dirname "$0")/readers.sh"

# run_tests EXPECTED SKIPPED: the tests of the other case are left out, and nothing else is.
run_tests() {
  local output
  output=$("${run_command[@]}" "$folder/$(basename "$program")" | tr -d '\r') || { echo "$output"; exit 1; }
  echo "$output"
  grep -qE "PASSED.* $1 test" <<<"$output" || { echo "FAILED: not $1 tests passed"; exit 1; }
  grep -qE "SKIPPED.* $2 test" <<<"$output" || { echo "FAILED: not $2 tests were left out"; exit 1; }
}

cp "$program" "$folder"
run_tests 1 3

readers_up "$folder" || exit 1
use_winscard "$folder" "$winscard"
export TELVO_READERS='TELVO Reader A 00 00;TELVO Reader A 00 01;TELVO Reader B 00 00;TELVO Reader B 00 01'
run_tests 3 1
