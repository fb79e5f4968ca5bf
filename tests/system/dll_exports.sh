#!/bin/sh
# dll_exports.sh OBJDUMP DLL: the library exports the functions of a provider by their plain names, and nothing else.
set -eu
objdump=$1 dll=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

sort >"$folder/expected" <<'NAMES'
CPAcquireContext
CPCreateHash
CPDecrypt
CPDeriveKey
CPDestroyHash
CPDestroyKey
CPEncrypt
CPExportKey
CPGenKey
CPGenRandom
CPGetHashParam
CPGetKeyParam
CPGetProvParam
CPGetUserKey
CPHashData
CPHashSessionKey
CPImportKey
CPReleaseContext
CPSetHashParam
CPSetKeyParam
CPSetProvParam
CPSignHash
CPVerifySignature
NAMES
# The table of names is the one whose lines are "[ordinal] name" under its own heading.
"$objdump" -p "$dll" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t*\[ *[0-9]*\].* //p' | sort >"$folder/found"
if ! diff "$folder/expected" "$folder/found"; then
  echo "FAILED: the library does not export the expected names (<), but these (>)"
  exit 1
fi
[ "$(wc -l <"$folder/found")" = 23 ] || { echo "FAILED: not 23 exports"; exit 1; }
