#!/bin/bash
# telvotool_explain.sh SYSTEM TELVOTOOL SOURCE -- RUN...
# telvotool explain, and that docs/errors.md is its output.
set -eEu
program=$2 source=$3
shift 4
run=("$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
fail() { echo "FAILED: $*"; cat out err; exit 1; }
# expect CODE ARGUMENT...
expect() {
  local wanted=$1 code=0
  shift
  "${run[@]}" "$program" explain "$@" >out 2>err </dev/null || code=$?
  [ $code = "$wanted" ] || fail "explain $*: exit code $code instead of $wanted"
}
says() { grep -qF -- "$1" out || fail "not said: $1"; }

for form in 0x80090016 2148073494 NTE_BAD_KEYSET nte_bad_keyset; do
  expect 0 $form
  says 'NTE_BAD_KEYSET, 0x80090016, 2148073494'
  says 'the system says: Keyset does not exist'
  says 'in CPImportKey (SIMPLEBLOB): the container has no private key'
  says '  the log says: Private Key does not exist in this context'
  says 'what to do: "telvotool containers" lists the containers'
done
expect 0 259
says 'ERROR_NO_MORE_ITEMS, 0x00000103, 259'
says 'CKR_USER_TYPE_INVALID, 0x00000103, 259: a result of the PKCS #11 module'
expect 0 CKR_DEVICE_REMOVED
says '  the log says: The device or token has been removed and no further communication is possible'
expect 0 NTE_KEYSET_NOT_DEF
says 'the provider itself never gives this code'
says 'what to do: the provider is not registered'
for unknown in NTE_NONSENSE 0xE1234567 0x123456789 five; do
  expect 2 $unknown
  [ ! -s out ] && grep -q "^telvotool explain: " err || fail "$unknown is not refused"
done
expect 2
expect 2 NTE_FAIL NTE_PERM
expect 2 NTE_FAIL --markdown

expect 0 --markdown
diff out "$source/docs/errors.md" >difference ||
  { cat difference; fail "docs/errors.md is not what \"telvotool explain --markdown\" writes: write it again"; }
echo "telvotool_explain: all as it should be"
