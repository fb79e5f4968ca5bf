#!/bin/bash
# tpm2.sh up|down FOLDER: tpm2-pkcs11 on a software TPM, through a resource manager on its own D-Bus. Without a resource manager the
# module soon fills the three slots that a TPM has for keys in use. Three wrong PINs lock the whole TPM.
. "$(dirname "$0")/common.sh"
module=$libraries/pkcs11/libtpm2_pkcs11.so

tool() { pkcs11-tool --module $module --token-label Test "$@"; }

up() {
  start_tpm "$1"
  start_manager "$1"
  # The module logs only to its error output; 0 turns the log off.
  export TPM2_PKCS11_TCTI=tabrmd:bus_type=session TPM2_PKCS11_STORE=$1/store TPM2_PKCS11_BACKEND=esysdb TPM2_PKCS11_LOG_LEVEL=0
  mkdir "$1/store"
  make_token "$1"
  write_env "$1" MODULE=$module LABEL=Test ID=01 DBUS_SESSION_BUS_ADDRESS="$DBUS_SESSION_BUS_ADDRESS" \
    TPM2_PKCS11_TCTI=$TPM2_PKCS11_TCTI TPM2_PKCS11_STORE="$1/store" TPM2_PKCS11_BACKEND=esysdb TPM2_PKCS11_LOG_LEVEL=0
}

start_tpm() {
  mkdir "$1/tpm"
  swtpm socket --tpm2 --tpmstate dir="$1/tpm" --flags not-need-init,startup-clear \
    --server type=unixio,path="$1/tpm.socket" --ctrl type=unixio,path="$1/tpm.socket.ctrl" &
  keep_daemon "$1" $!
  await swtpm test -S "$1/tpm.socket.ctrl"
}

start_manager() {
  dbus-daemon --session --nofork --address="unix:path=$1/bus.socket" &
  keep_daemon "$1" $!
  export DBUS_SESSION_BUS_ADDRESS=unix:path=$1/bus.socket
  await dbus-daemon test -S "$1/bus.socket"
  tpm2-abrmd --session --allow-root --flush-all --max-transients=100 --tcti="swtpm:path=$1/tpm.socket" &
  keep_daemon "$1" $!
  await tpm2-abrmd dbus-send --session --print-reply --dest=com.intel.tss2.Tabrmd / org.freedesktop.DBus.Peer.Ping
}

# The TPM generates the key, so the certificate cannot be self-signed here: an authority signs it.
make_token() {
  pkcs11-tool --module $module --slot-index 0 --init-token --so-pin 654321 --label Test
  tool --login --login-type so --so-pin 654321 --init-pin --new-pin $pin
  tool --login --pin $pin --keypairgen --key-type rsa:2048 --id 01 --label Signing
  tool --login --pin $pin --read-object --type pubkey --id 01 --output-file "$1/pub.der"
  make_pair "$1" authority
  openssl x509 -new -force_pubkey "$1/pub.der" -subj "/CN=Anna Example" -CA "$1/authority.crt" -CAkey "$1/authority.pem" \
    -set_serial 1 -days 3650 -out "$1/cert.pem"
  openssl x509 -in "$1/cert.pem" -outform DER -out "$1/cert.der"
  tool --login --pin $pin --write-object "$1/cert.der" --type cert --id 01 --label Signing
}

down() { end_daemons "$1"; }

main "$@"
