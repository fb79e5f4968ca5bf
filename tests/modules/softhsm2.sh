#!/bin/bash
# softhsm2.sh up|down FOLDER: SoftHSM2 of the distribution. It never locks a PIN.
. "$(dirname "$0")/common.sh"

up() {
  local module=/usr/lib/softhsm/libsofthsm2.so
  export SOFTHSM2_CONF=$1/softhsm2.conf
  mkdir "$1/tokens"
  printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' "$1/tokens" >"$SOFTHSM2_CONF"
  softhsm2-util --init-token --free --label Test --so-pin 654321 --pin $pin
  make_identity "$1"
  put_identity "$1" pkcs11-tool --module $module --token-label Test
  write_env "$1" MODULE=$module LABEL=Test ID=01 SOFTHSM2_CONF="$SOFTHSM2_CONF"
}

down() { :; }

main "$@"
