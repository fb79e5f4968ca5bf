#!/bin/bash
# check_errors.sh SOURCE: scripts/check-errors on the sources as they are, and on copies with one fault each.
set -eu
source=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "FAILED: $*"; cat "$folder/output"; exit 1; }
catalogue=apps/telvotool/ErrorCatalogue.cpp

"$source/scripts/check-errors" "$source" >"$folder/output" || fail "the catalogue is not complete"

# refuses LINE FILE SED: a copy of FILE, changed by the sed script, is refused with an output that contains LINE.
refuses() {
  rm -rf "$folder/tree"
  mkdir -p "$folder/tree/apps/telvotool"
  cp -r "$source/src" "$folder/tree/src"
  cp "$source/$catalogue" "$folder/tree/$catalogue"
  sed -i "$3" "$folder/tree/$2"
  ! cmp -s "$source/$2" "$folder/tree/$2" || fail "nothing was changed in $2"
  if "$source/scripts/check-errors" "$folder/tree" >"$folder/output"; then fail "passed: $3"; fi
  grep -qF -- "$1" "$folder/output" || fail "missing line: $1"
}

refuses 'NTE_PERM is raised in src/entry/CPGenKey.cpp and has no row' $catalogue '/{NAMED(NTE_PERM)/d'
refuses 'NTE_BAD_LEN is raised in src/entry/CPGenKey.cpp and has no row' src/entry/CPGenKey.cpp 's/NTE_PERM/NTE_BAD_LEN/'
refuses 'NTE_PERM has a row and is raised nowhere' src/entry/CPGenKey.cpp 's/NTE_PERM/NTE_BAD_LEN/'
refuses 'NTE_BAD_UID has a row and is raised nowhere' src/entry/CCSPContextList.cpp 's/, NTE_BAD_UID/, NTE_FAIL/'
refuses 'src/entry/CPGenKey.cpp: the line "CPGenKey Error: NO" of NTE_PERM is no case of it' \
  src/entry/CPGenKey.cpp 's/FLAG IS VERIFY/NO/'
refuses 'NTE_PERM: the line "CPGenKey Error: FLAG IS VERIFY" stands nowhere in src/' \
  src/entry/CPGenKey.cpp 's/FLAG IS VERIFY/NO/'
refuses 'src/entry/CPGenKey.cpp: Refuse raises "0x80090010", which is no name of a code' \
  src/entry/CPGenKey.cpp 's/NTE_PERM/0x80090010/'
refuses 'src/context/CCSPContext.cpp: CCSPContextError raises "5", which is no name of a code' \
  src/context/CCSPContext.cpp 's/NTE_BAD_HASH/5/'
refuses 'CKR_PIN_EXPIRED has a text and no row' $catalogue '/{NAMED(CKR_PIN_EXPIRED)/d'
refuses 'CKR_PIN_EXPIRED has a row and no text' src/cryptoki/CryptokiError.cpp '/{CKR_PIN_EXPIRED,/d'
refuses 'src/entry/CPGenRandom.cpp gives results of the module to programs' \
  src/entry/CPGenRandom.cpp 's/frame.Succeed();$/frame.Succeed(); }, ModuleFailure::kOwnCode);/'
refuses 'src/entry/CPGenRandom.cpp gives codes of Windows to programs' \
  src/entry/CPGenRandom.cpp 's/frame.Succeed();$/frame.RefuseLogged(GetLastError());/'
# A comment raises nothing.
refuses 'NTE_PERM has a row and is raised nowhere' src/entry/CPGenKey.cpp 's/return frame.Refuse("\\nCPGenKey/return FALSE; \/\/ &/'
echo "check_errors: complete, and 13 faults are found"
