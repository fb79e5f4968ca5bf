#!/bin/bash
# cryptoki_tour.sh SYSTEM CRYPTOKI_TOUR SOFTTOKEN -- RUN...
# The client on a software token with real keys; OpenSSL verifies what it signed.
set -eu
system=$1 program=$2 softtoken=$3
shift 4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

cat >"$folder/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A
label = Tour
serial = 0123456789ABCDEF
pin = 12345678
CONF
export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
echo "what is signed" >"$folder/message"

# The program finds the module beside itself on Windows, by the library path elsewhere.
cp "$program" "$softtoken" "$folder"
at=$folder
[ "$system" = Windows ] && at="Z:$folder"
LD_LIBRARY_PATH=$folder "$@" "$folder/$(basename "$program")" "$at" 12345678 | tr -d '\r' | tee "$folder/output"
grep -qx 'slot: TELVO Reader A' "$folder/output" || fail "the slot is not listed"
grep -qx 'token: Tour  *serial 01 23 45 67 89 AB CD EF' "$folder/output" || fail "the token is not listed"
grep -qx 'generated: 2048 bits' "$folder/output" || fail "no pair of 2048 bits"
grep -qx 'found: 2 objects, 1 private keys, 1 public keys, 0 certificates' "$folder/output" || fail "the pair is not found"

# The public key in PKCS #1 form, made only from the modulus that the client read.
cat >"$folder/key.conf" <<KEY
asn1 = SEQUENCE:key
[key]
n = INTEGER:0x$(od -An -v -tx1 "$folder/modulus" | tr -d ' \n')
e = INTEGER:65537
KEY
openssl asn1parse -genconf "$folder/key.conf" -noout -out "$folder/key.der"
openssl rsa -RSAPublicKey_in -inform DER -in "$folder/key.der" -out "$folder/key.pem" 2>/dev/null
openssl dgst -sha256 -verify "$folder/key.pem" -signature "$folder/signature" "$folder/message" ||
  fail "OpenSSL does not accept the signature"
echo "something else" >"$folder/message"
openssl dgst -sha256 -verify "$folder/key.pem" -signature "$folder/signature" "$folder/message" >/dev/null &&
  fail "OpenSSL accepts the signature for another message"
echo "OpenSSL verified the signature"
