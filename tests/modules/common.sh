# Sourced by the scripts that set up an ordinary PKCS #11 module. Each is called as
#
#   NAME.sh up FOLDER        makes a token in FOLDER, which must be new or empty, and writes FOLDER/env
#   NAME.sh down FOLDER      ends what up started; the folder is kept
#
# and piv.sh and ykcs11.sh also as
#
#   NAME.sh pull FOLDER      pulls the card out of its reader; NAME.sh insert FOLDER puts it back
#
# FOLDER/env is to be sourced by a shell. It exports what the module needs in its environment, and
#
#   MODULE   the path of the library          INIT   what C_Initialize needs as pReserved; empty if nothing
#   LABEL    the token's label                PIN    123456
#   ID       CKA_ID of the key pair, in hex   READER the reader's name, only for a card in a reader
#
# The token has an RSA-2048 pair that signs and decrypts, and its certificate, which is also in FOLDER/cert.pem. The output
# of a set-up goes to FOLDER/log. When it fails, it prints the end of that file.
set -eu
pin=123456
modules=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
libraries=/usr/lib/x86_64-linux-gnu

# write_env FOLDER NAME=VALUE...
write_env() {
  local folder=$1 pair
  shift
  for pair in INIT= PIN=$pin "$@"; do printf 'export %s=%q\n' "${pair%%=*}" "${pair#*=}"; done >"$folder/env"
}

# make_pair FOLDER NAME: NAME.pem is a new key, NAME.crt its self-signed certificate. OpenSSL's default extensions would make it
# the certificate of an authority, which cannot be used for mail.
make_pair() {
  openssl req -x509 -newkey rsa:2048 -nodes -keyout "$1/$2.pem" -subj "/CN=Anna Example" -days 3650 -out "$1/$2.crt" \
    -addext basicConstraints=critical,CA:FALSE -addext keyUsage=digitalSignature,keyEncipherment 2>/dev/null
}

# make_identity FOLDER: the pair, in the forms that pkcs11-tool reads.
make_identity() {
  make_pair "$1" key
  mv "$1/key.crt" "$1/cert.pem"
  openssl pkcs8 -topk8 -nocrypt -in "$1/key.pem" -outform DER -out "$1/key.der"
  openssl pkey -in "$1/key.pem" -pubout -outform DER -out "$1/pub.der"
  openssl x509 -in "$1/cert.pem" -outform DER -out "$1/cert.der"
}

# put_identity FOLDER TOOL...: puts the pair and the certificate on the token that pkcs11-tool TOOL... reaches.
put_identity() {
  local folder=$1 object=(--login --pin $pin --id 01 --label Signing --write-object)
  shift
  "$@" "${object[@]}" "$folder/key.der" --type privkey --usage-sign --usage-decrypt
  "$@" "${object[@]}" "$folder/pub.der" --type pubkey --usage-sign --usage-decrypt
  "$@" "${object[@]}" "$folder/cert.der" --type cert
}

# await WHAT COMMAND...: waits until the command succeeds, at most ten seconds.
await() {
  local what=$1
  shift
  for _ in $(seq 100); do
    if "$@" >/dev/null 2>&1; then return 0; fi
    sleep 0.1
  done
  echo "waited ten seconds for $what" >&2
  return 1
}

# keep_daemon FOLDER PID: notes a process that down must end. end_daemons FOLDER ends these processes, the last one first.
keep_daemon() { echo "$2" >>"$1/pids"; }
end_daemons() {
  local daemon
  [ -e "$1/pids" ] || return 0
  for daemon in $(tac "$1/pids"); do
    kill "$daemon" 2>/dev/null || continue
    await "the end of process $daemon" process_is_gone "$daemon"
  done
  rm "$1/pids"
}
process_is_gone() { ! kill -0 "$1"; }

# When a set-up fails, its daemons are ended, too.
set_up() (
  folder=$1
  mkdir -p "$folder"
  trap 'code=$?; if [ $code != 0 ]; then tail -n 20 "$folder/log" >&2; (down "$folder") || true; fi; exit $code' EXIT
  up "$folder" >"$folder/log" 2>&1
)

# main ARGUMENT...: calls up, down, or another function of the script.
main() {
  local action=${1:-} folder=${2:-}
  if [ -z "$folder" ] || [ "$(type -t "$action")" != function ]; then
    echo "usage: $(basename "$0") up|down$(type -t pull >/dev/null && echo '|pull|insert') FOLDER" >&2
    exit 2
  fi
  folder=$(realpath -m "$folder")
  . "$modules/../../cmake/close-inherited.sh"
  if [ "$action" = up ]; then set_up "$folder"; else "$action" "$folder"; fi
}
