#!/bin/bash
# signatures.sh PROGRAM PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN -- RUN...
# Signatures through the system's CryptoAPI, with keys and certificates that OpenSSL made and pkcs11-tool put on the card;
# OpenSSL verifies them.
set -eu
program=$1 provider=$2 softtoken=$3 native_softtoken=$4
shift 5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/judge.sh"

make_cards "$folder"
cd "$folder/exchange"

sizes="1024 2048 3072 4096"
hashes="md5 sha1 sha256 sha512"
seq 1 20000 >message
seq 1 20000 | head -c 65536 >piece
# SSL3 signs MD5 followed by SHA-1, without a DigestInfo.
{ openssl dgst -md5 -binary message; openssl dgst -sha1 -binary message; } >md5sha1

put() { # put FILE TYPE NAME
  pkcs11-tool --module "$native_softtoken" --slot 0 --login --pin 123456 --write-object "$1" --type "$2" \
    --id "$(printf %s "$3" | od -An -tx1 | tr -d ' \n')" --label "$3" >put.log 2>&1 || { cat put.log; fail "$1 was not put on the card"; }
}
for size in $sizes; do
  openssl genrsa -traditional -out "$size.key" "$size" 2>genrsa.log
  openssl rsa -in "$size.key" -outform DER -traditional -out key.der 2>rsa.log
  openssl rsa -in "$size.key" -pubout -out "$size.pub" 2>rsa.log
  openssl rsa -in "$size.key" -pubout -outform DER -out pub.der 2>rsa.log
  openssl req -x509 -key "$size.key" -subj "/CN=k$size" -days 30 -out "$size.cert"
  openssl x509 -in "$size.cert" -outform DER -out cert.der
  put key.der privkey "k$size"
  put pub.der pubkey "k$size"
  put cert.der cert "k$size"
  for hash in $hashes; do openssl dgst "-$hash" -sign "$size.key" -out "$size.$hash.openssl" message; done
  openssl pkeyutl -sign -inkey "$size.key" -in md5sha1 -out "$size.ssl3.openssl"
done

export TELVO_PROVIDER="Z:${provider//\//\\}"
cp "$program" "$softtoken" "$folder"
"$@" "$folder/$(basename "$program")" ${TELVO_GTEST_FILTER:+--gtest_filter=$TELVO_GTEST_FILTER}

sed 's/^10000$/10001/' message >changed
cmp -s message changed && fail "the changed message is the same"

for size in $sizes; do
  for hash in $hashes; do
    accept "$hash with $size bits" openssl dgst "-$hash" -verify "$size.pub" -signature "$size.$hash.signature" message
    refuse "$hash with $size bits of another message" \
      openssl dgst "-$hash" -verify "$size.pub" -signature "$size.$hash.signature" changed
  done
  accept "SSL3 with $size bits" \
    openssl pkeyutl -verify -pubin -inkey "$size.pub" -in md5sha1 -sigfile "$size.ssl3.signature"
done

for document in sha1:2048 sha256:2048 4096:4096; do
  name=${document%:*} size=${document#*:}
  cms=(openssl cms -verify -binary -inform DER -in "document.$name.p7s" -CAfile "$size.cert" -purpose any -out /dev/null)
  accept "the document $name" "${cms[@]}" -content message
  refuse "the document $name with a byte changed" "${cms[@]}" -content changed
done

long() { for _ in $(seq 4096); do cat piece; done; }
accept "the long message" openssl dgst -sha256 -verify 2048.pub -signature long.signature <(long)
echo "OpenSSL judged $judged times"
