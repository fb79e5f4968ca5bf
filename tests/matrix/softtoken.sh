#!/bin/bash
# softtoken.sh up|down|pull|insert FOLDER: the software token, with the interface of the set-ups of tests/modules. It needs no adapter, and
# every flow works on it. NATIVE_SOFTTOKEN is its library for pkcs11-tool.
. "$(dirname "$0")/../modules/common.sh"

up() {
  export TELVO_SOFTTOKEN_CONF=$1/token.conf
  cat >"$TELVO_SOFTTOKEN_CONF" <<CONF
state = state
[slot]
reader = TELVO Reader A 00 00
label = Test
serial = A000000000000001
pin = $pin
presence = file card-is-in
CONF
  touch "$1/card-is-in"
  make_identity "$1"
  put_identity "$1" pkcs11-tool --module "$NATIVE_SOFTTOKEN" --slot 0
  write_env "$1" MODULE= LABEL=Test ID=01 READER="TELVO Reader A 00 00" TELVO_SOFTTOKEN_CONF="$TELVO_SOFTTOKEN_CONF"
}

pull() { rm "$1/card-is-in"; }
insert() { touch "$1/card-is-in"; }
down() { :; }

main "$@"
