#!/bin/bash
# check.sh SYSTEM NAME -- MODULE_USER...: the set-up NAME.sh makes a token whose key signs and decrypts; OpenSSL checks both with the
# certificate. SYSTEM is the system of MODULE_USER: a Windows program calls the module through the bridge.
set -eu
system=$1 name=$2
shift 3
user=("$@")
modules=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap '"$modules/$name.sh" down "$folder/module" || true; rm -rf "$folder"' EXIT

"$modules/$name.sh" up "$folder/module"
cd "$folder"
. module/env
if [ "$system" = Windows ]; then export TELVO_BRIDGE_MODULE=$MODULE MODULE=ordinary.dll; fi
openssl x509 -in module/cert.pem -noout -pubkey >public.pem

seq 1 1000 >message
openssl dgst -md5 -binary message >data  # 36 bytes as SSL3 signs them, without a DigestInfo
openssl dgst -sha1 -binary message >>data
"${user[@]}" sign data signature
openssl pkeyutl -verify -pubin -inkey public.pem -in data -sigfile signature

printf 'what nobody else reads' >secret
openssl pkeyutl -encrypt -pubin -inkey public.pem -in secret -out encrypted
"${user[@]}" decrypt encrypted decrypted
cmp secret decrypted

if [ -n "${READER:-}" ]; then
  "$modules/$name.sh" pull module
  if "${user[@]}" sign data other 2>refusal; then echo "a pulled card still signs" >&2; exit 1; fi
  "$modules/$name.sh" insert module
  "${user[@]}" sign data other
  cmp signature other
fi
