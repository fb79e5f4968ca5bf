#!/bin/bash
# all_work.sh BUILD: every flow works on the software token, and a flow fails when OpenSSL refuses its result.
set -eu
here=$(dirname "$0")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$here/run.sh" "$1" softtoken "$folder/all" | tee "$folder/outcomes"
[ "$(wc -l <"$folder/outcomes")" = "$(wc -l <"$folder/all/flows")" ] || { echo "FAILED: a flow is missing" >&2; exit 1; }
if grep -v "	works	$" "$folder/outcomes"; then echo "FAILED: a flow does not work" >&2; exit 1; fi

# OpenSSL gets the certificate of other keys than those on the card.
export TELVO_MATRIX_OTHER_CERTIFICATE=yes
"$here/run.sh" "$1" softtoken "$folder/other" sign_sha256 decrypt >"$folder/refused"
cat "$folder/refused"
[ "$(grep -c "	failed	" "$folder/refused")" = 2 ] || { echo "FAILED: OpenSSL accepts another key" >&2; exit 1; }
