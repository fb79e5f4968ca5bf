#!/bin/bash
# opencryptoki.sh up|down FOLDER: openCryptoki's software token. It has three tries.
#
# It needs root. The module reads /etc/opencryptoki/opencryptoki.conf; up keeps the old file in FOLDER, and down restores it. The
# module talks to pkcsslotd, which runs once on a machine, and keeps its token below /var/lib/opencryptoki.
. "$(dirname "$0")/common.sh"
conf=/etc/opencryptoki/opencryptoki.conf
state=/var/lib/opencryptoki/telvo_test
module=$libraries/pkcs11/libopencryptoki.so

tool() { pkcs11-tool --module $module --slot 3 "$@"; }

up() {
  if pgrep -x pkcsslotd >/dev/null; then
    echo "a pkcsslotd runs already; stop it for this set-up"
    return 1
  fi
  cp $conf "$1/opencryptoki.conf"
  printf 'version opencryptoki-3.1\nslot 3\n{\nstdll = libpkcs11_sw.so\ntokname = telvo_test\n}\n' >$conf
  install -d -g pkcs11 -m 770 $state $state/TOK_OBJ /run/lock/opencryptoki/telvo_test
  pkcsslotd --foreground >"$1/pkcsslotd.log" 2>&1 &
  keep_daemon "$1" $!
  await pkcsslotd tool --list-slots
  make_token "$1"
  write_env "$1" MODULE=$module LABEL=Test ID=01
}

# A new token can be used only after both PINs were changed. A new PIN must differ from the one before.
make_token() {
  tool --init-token --so-pin 87654321 --label Test
  tool --login --login-type so --so-pin 87654321 --change-pin --new-pin 765432
  tool --login --login-type so --so-pin 765432 --init-pin --new-pin 1234567
  tool --login --pin 1234567 --change-pin --new-pin $pin
  make_identity "$1"
  put_identity "$1" tool
}

down() {
  end_daemons "$1"
  [ -e "$1/opencryptoki.conf" ] || return 0
  mv "$1/opencryptoki.conf" $conf
  rm -rf $state /run/lock/opencryptoki/telvo_test /dev/shm/*telvo_test*
}

main "$@"
