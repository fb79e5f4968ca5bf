#!/bin/bash
# enrolment.sh PROGRAM PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN -- RUN...
# A container's life in three processes: created with a key and a certificate, found again, deleted. OpenSSL checks the
# results.
set -eu
program=$1 provider=$2 softtoken=$3 native_softtoken=$4
shift 5
run=("$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/judge.sh"

make_cards "$folder"
cd "$folder/exchange"
seq 1 20000 >message
export TELVO_PROVIDER="Z:${provider//\//\\}"
cp "$program" "$softtoken" "$folder"
process() { "${run[@]}" "$folder/$(basename "$program")" "--gtest_filter=$1"; }
objects() { pkcs11-tool --module "$native_softtoken" --slot 0 --list-objects 2>&1; }

process 'MakeTest.*'
accept 'the request' openssl req -verify -noout -inform DER -in request.der
accept 'the subject of the request' \
  grep -q 'O = Tests, CN = Enrolled\|CN = Enrolled, O = Tests' <(openssl req -noout -subject -inform DER -in request.der)
openssl x509 -inform DER -in certificate.der -out certificate.pem
accept 'the certificate' openssl verify -CAfile certificate.pem certificate.pem
openssl x509 -noout -pubkey -in certificate.pem -out public.pem
accept "the key of the request, which is the certificate's" \
  cmp public.pem <(openssl req -noout -pubkey -inform DER -in request.der)
# Another program sees them on the card: the container's name is the identifier, and the certificate's name is the
# label.
objects >objects.log
[ "$(grep -c 'ID: *656e726f6c6c6564' objects.log)" -eq 3 ] || { cat objects.log; fail 'the card does not hold three objects'; }
[ "$(grep -c 'label: *Enrolled' objects.log)" -eq 3 ] || { cat objects.log; fail 'an object has another label'; }

process 'LaterTest.*'
for signature in message found; do
  accept "the signature $signature" \
    openssl dgst -sha256 -verify public.pem -signature "$signature.signature" message
done

process 'DeleteTest.*'
objects >objects.log
if grep -q 'Object' objects.log; then cat objects.log; fail 'something is left on the card'; fi
echo "OpenSSL judged $judged times"
