#!/bin/bash
# bench.sh BENCH PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN -- RUN...
# Runs the benchmark with its own software token.
set -eu
bench=$1 provider=$2 softtoken=$3 native_softtoken=$4
shift 5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cat >"$folder/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A
label = Card A
serial = A000000000000001
pin = 123456
CONF
export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
pkcs11-tool --module "$native_softtoken" --login --pin 123456 --keypairgen --key-type rsa:2048 --id 6f6e65 \
  >"$folder/pkcs11-tool.log" 2>&1 || { cat "$folder/pkcs11-tool.log"; exit 1; }
cp "$bench" "$provider" "$softtoken" "$folder"
cd "$folder"
LD_LIBRARY_PATH="$folder" "$@" "$folder/$(basename "$bench")" 'TELVO Reader A' one 123456
