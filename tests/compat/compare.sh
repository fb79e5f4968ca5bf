#!/bin/bash
# compare.sh BUILD [--check]: runs every row with both providers under Wine and writes docs/compatibility.md, or with --check fails
# when that file is no longer true. BUILD is build/windows. TELVO_ROWS="BEGINNING..." only prints the answers of the rows whose ids
# begin like that.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$(realpath "$1")
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$here/../provider/judge.sh"

make_cards "$folder"
native=$build/softtoken/libtelvopkcs11.so
pkcs11-tool --module "$native" --slot 1 --login --pin 123456 --keypairgen --key-type rsa:1024 --id 636c6f736564 --label closed \
  >"$folder/closed.log" 2>&1 || { cat "$folder/closed.log"; fail 'the card without a PIN cannot be made'; }
rm "$folder/cards/b"
cp "$build/tests/compat/compatibility_rows.exe" "$build/softtoken/telvopkcs11.dll" "$folder"
TELVO_PROVIDER=Z:$(echo "$build/telvocsp.dll" | tr / '\\')
export TELVO_PROVIDER
# No dialog can be shown, so that none waits for a user.
export TELVO_DISPLAY=none
# shellcheck disable=SC2086 # each beginning is an argument
"$here/../../cmake/wine-run" "$build" "$folder/compatibility_rows.exe" ${TELVO_ROWS:-} >"$folder/answers" ||
  fail "the program ends with $? at the row $(tail -n 1 "$folder/answers" | cut -f 1)"
tr -d '\r' <"$folder/answers" >"$folder/lines"
if [ -n "${TELVO_ROWS:-}" ]; then cat "$folder/lines"; exit; fi
python3 "$here/table.py" "$folder/lines" "$@"
