#!/bin/bash
# piv.sh up|down|pull|insert FOLDER: a PIV card in a virtual reader, through pcscd and OpenSC. It has three tries. Deleting
# FOLDER/tries unlocks it.
. "$(dirname "$0")/common.sh"
. "$modules/card.sh"

write_settings() {
  write_env "$1" MODULE=$libraries/opensc-pkcs11.so LABEL='Anna Example' ID=01 READER="$2"
}

main "$@"
