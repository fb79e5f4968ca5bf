#!/bin/sh
# pkcs11_tool.sh MODULE: an application that knows nothing about this module works with it, and OpenSSL accepts its
# signatures.
set -eu
module=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export TELVO_SOFTTOKEN_CONF="$work/settings.conf"
cat >settings.conf <<'EOF'
state = state
[slot]
reader = TELVO Reader A 00 00
label = Card of the tool
serial = A000000000000001
pin = 123456
so_pin = 654321
EOF

fail() {
  echo "pkcs11_tool.sh: $1" >&2
  exit 1
}

# The tool tries to sign in parts with its first mechanism, and accepts this answer.
no_parts='^warning: PKCS11 function C_SignUpdate failed: rv = CKR_FUNCTION_NOT_SUPPORTED (0x54)$'

# tool NAME ARGUMENT...: runs pkcs11-tool with its output in the file NAME, and fails if it reports any other error.
tool() {
  name=$1
  shift
  pkcs11-tool --module "$module" "$@" >"$name" 2>&1 || { cat "$name" >&2; fail "pkcs11-tool $* ends with an error"; }
  if grep -v -e '^No errors$' -e "$no_parts" "$name" | grep -Eiq 'err|fail|warn|abort'; then
    cat "$name" >&2
    fail "pkcs11-tool $* reports an error"
  fi
}

# expect NAME LINE: the output NAME has this line.
expect() {
  grep -Fxq "$2" "$1" || { cat "$1" >&2; fail "'$2' is missing in the output $1"; }
}

tool slots --list-slots
expect slots 'Slot 0 (0x0): TELVO Reader A 00 00'
expect slots '  token label        : Card of the tool'
expect slots '  serial num         : A000000000000001'
expect slots '  token flags        : login required, rng, token initialized, PIN initialized'

tool mechanisms --list-mechanisms
expect mechanisms '  RSA-PKCS, keySize={512,16384}, hw, encrypt, decrypt, sign, verify, wrap, unwrap'
expect mechanisms '  DES2-KEY-GEN, hw, generate'

tool generated --login --pin 123456 --keypairgen --key-type rsa:2048 --id 01 --label 'tool key'
tool objects --list-objects
expect objects 'Private Key Object; RSA '
expect objects 'Public Key Object; RSA 2048 bits'
expect objects '  label:      tool key'

echo 'what is signed' >message
for mechanism in SHA1-RSA-PKCS SHA256-RSA-PKCS SHA512-RSA-PKCS; do
  digest=$(echo "$mechanism" | sed 's/-RSA-PKCS//')
  tool signed --login --pin 123456 --sign --mechanism "$mechanism" --id 01 --input-file message --output-file signature
  tool verified --verify --mechanism "$mechanism" --id 01 --input-file message --signature-file signature
  expect verified 'Signature is valid'
  tool read --read-object --type pubkey --id 01 --output-file public.der
  openssl dgst "-$digest" -keyform DER -verify public.der -signature signature message >judged ||
    fail "OpenSSL does not accept the $mechanism signature"
  expect judged 'Verified OK'
done
echo 'what is not signed' >other
if openssl dgst -SHA512 -keyform DER -verify public.der -signature signature other >judged 2>&1; then
  fail 'OpenSSL accepts a signature of something else'
fi

if pkcs11-tool --module "$module" --login --pin 000000 --list-objects >wrong 2>&1; then
  fail 'a wrong PIN is accepted'
fi
grep -q 'CKR_PIN_INCORRECT' wrong || fail 'a wrong PIN is not reported as CKR_PIN_INCORRECT'
tool slots --list-slots
expect slots '  token flags        : login required, rng, token initialized, user PIN count low, PIN initialized'

tool test --login --pin 123456 --test
expect test 'No errors'
expect test '  testing signature mechanisms:'
expect test '    SHA256-RSA-PKCS: OK'
expect test '    RSA-PKCS: OK'
expect test '    SHA1-RSA-PKCS: OK'
expect test '    MD5-RSA-PKCS: OK'
expect test '    RSA-X-509: OK'
expect test '  all 4 digest functions seem to work'
# The tool prints the result of OAEP on a separate line, once with a label and once without.
[ "$(grep -c 'RSA-PKCS-OAEP: ' test)" -eq 2 ] && [ "$(grep -cx 'OK' test)" -eq 2 ] || fail 'OAEP was not tested'
echo 'pkcs11_tool.sh: all well'
