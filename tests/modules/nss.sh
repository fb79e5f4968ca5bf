#!/bin/bash
# nss.sh up|down FOLDER: the software token of NSS, a database. It needs a string for C_Initialize, uses the SHA-1 of a key's
# modulus as its CKA_ID, and never locks a PIN.
. "$(dirname "$0")/common.sh"

up() {
  local module db="sql:$1/db" id
  module=$(ldconfig -p | sed -n 's/.*=> \(.*libsoftokn3\.so\)$/\1/p' | head -n 1)
  mkdir "$1/db"
  printf %s $pin >"$1/pin"
  certutil -N -d "$db" -f "$1/pin"
  make_identity "$1"
  openssl pkcs12 -export -inkey "$1/key.pem" -in "$1/cert.pem" -name Signing -passout pass: -out "$1/pair.p12"
  pk12util -i "$1/pair.p12" -d "$db" -k "$1/pin" -W ''
  id=$(openssl x509 -in "$1/cert.pem" -noout -modulus | sed 's/.*=//' | python3 -c "import sys; sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))" | sha1sum | cut -c 1-40)
  write_env "$1" MODULE="${module:-$libraries/libsoftokn3.so}" LABEL='NSS Certificate DB' ID="$id" \
    INIT="configdir='$db' certPrefix='' keyPrefix='' secmod='secmod.db' flags= "
}

down() { :; }

main "$@"
