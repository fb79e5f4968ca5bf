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

# run_suite SUITE COUNT: all tests of the suite pass, and there are COUNT.
run_suite() {
  local output
  output=$("${run_command[@]}" "$folder/$(basename "$program")" "--gtest_filter=$1.*" | tr -d '\r') || { echo "$output"; exit 1; }
  echo "$output"
  grep -qE "PASSED.* $2 test" <<<"$output" || { echo "FAILED: not $2 tests of $1 passed"; exit 1; }
}

cp "$program" "$folder"
run_suite WithoutReadersTest 1

readers_up "$folder" || exit 1
use_winscard "$folder" "$winscard"
export TELVO_READERS='TELVO Reader A 00 00;TELVO Reader A 00 01;TELVO Reader B 00 00;TELVO Reader B 00 01'
run_suite WithReadersTest 3
