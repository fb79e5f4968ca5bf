#!/bin/bash
# p11kit.sh up|down FOLDER: a token behind a socket, as if it were on another machine: p11-kit's client, its server, and the
# SoftHSM2 of softhsm2.sh.
. "$(dirname "$0")/common.sh"

up() {
  "$modules/softhsm2.sh" up "$1/softhsm2"
  cp "$1/softhsm2/cert.pem" "$1"
  (. "$1/softhsm2/env" && exec p11-kit server --foreground --provider "$MODULE" -n "$1/socket" "pkcs11:token=$LABEL") &
  keep_daemon "$1" $!
  await "the server" test -S "$1/socket"
  write_env "$1" MODULE=$libraries/pkcs11/p11-kit-client.so LABEL=Test ID=01 P11_KIT_SERVER_ADDRESS="unix:path=$1/socket"
}

down() { end_daemons "$1"; }

main "$@"
