#!/bin/bash
# ykcs11.sh up|down|pull|insert FOLDER: the card of piv.sh, through pcscd and ykcs11, which accepts only readers whose name
# begins with "Yubico".
. "$(dirname "$0")/common.sh"
. "$modules/card.sh"
reader_name_a="Yubico YubiKey"

write_settings() {
  write_env "$1" MODULE=$libraries/libykcs11.so.2 LABEL='YubiKey PIV #7654321' ID=01 READER="$2"
}

main "$@"
