#!/bin/bash
# run.sh BUILD MODULE FOLDER [FLOW...]: sets up a module in FOLDER, which must not exist, runs the flows on it, and prints a line
# for each: "FLOW<TAB>works|emulated|cannot|failed<TAB>reason". BUILD is a build folder, build/windows or build/host. MODULE is a set-up
# of tests/modules, below the adapter, or softtoken, the software token without it.
#
# A flow that fails and is in the file limits becomes "cannot", with the reason from there. A flow that works although it is there
# becomes "failed", or "cannot" if it is there with "sometimes".
#
# FOLDER keeps the output of the flows, the traces of the adapter (FLOW.trace), and the files that flows and OpenSSL exchange.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$(realpath "$1") module=$2 folder=$(realpath -m "$3")
shift 3
if [ -e "$build/bridge/ordinary.dll" ]; then system=Windows; else system=Linux; fi
setup=$here/../modules/$module.sh
[ "$module" != softtoken ] || setup=$here/softtoken.sh
[ -x "$setup" ] || { echo "run.sh: there is no set-up $module" >&2; exit 2; }
. "$here/../system/readers.sh"
mkdir -p "$folder"
exchange=$folder/exchange
mkdir "$exchange"
trap '"$setup" down "$folder/module"' EXIT

# as_seen PATH: the path as the program sees it.
as_seen() { if [ $system = Windows ]; then echo "Z:${1//\//\\}"; else echo "$1"; fi; }

# --- The program, the provider and the module below it, together in a folder.
prepare_program() {
  local library=$build/adapter
  [ "$module" != softtoken ] || library=$build/softtoken
  mkdir "$folder/program"
  program=$folder/program/matrix_flows
  if [ $system = Windows ]; then
    cp "$build/tests/matrix/matrix_flows.exe" "$library/telvopkcs11.dll" "$build/bridge/ordinary.dll" "$folder/program"
    program=$program.exe
    run=("$here/../../cmake/wine-run" "$build" "$program")
    TELVO_PROVIDER=$(as_seen "$build/telvocsp.dll")
    export TELVO_PROVIDER
  else
    cp "$build/tests/matrix/matrix_flows" "$library/libtelvopkcs11.so" "$folder/program"
    run=("$program")
    export LD_LIBRARY_PATH=$folder/program
  fi
  export EXCHANGE
  EXCHANGE=$(as_seen "$exchange")
  SIGN_OFTEN="\"$(as_seen "$program")\" --sign-often"
  export SIGN_OFTEN
}

# --- The token, and the adapter's settings for it.
prepare_token() {
  NATIVE_SOFTTOKEN=$build/softtoken/libtelvopkcs11.so "$setup" up "$folder/module"
  . "$folder/module/env"
  export CONTAINER TOKEN_READER=${READER:-Token of the matrix} CARD_MOVES=${READER:+yes}
  CONTAINER=$(echo "$ID" | tr a-f A-F)
  if [ "$module" = softtoken ]; then return; fi
  export TELVO_ADAPTER_CONF
  if [ $system = Windows ]; then
    export TELVO_BRIDGE_MODULE=$MODULE
    MODULE=$(as_seen "$folder/program/ordinary.dll")
  fi
  cat >"$folder/adapter.conf" <<CONF
module = $MODULE
${INIT:+initialisation = $INIT}
label = $LABEL
trace = $(as_seen "$folder/trace")
CONF
  if [ $system = Windows ] && [ -n "${READER:-}" ]; then use_winscard "$folder/program" "$build/winscard"; fi
  [ -n "${READER:-}" ] || printf '[token]\nlabel = %s\nname = %s\n' "$LABEL" "$TOKEN_READER" >>"$folder/adapter.conf"
  TELVO_ADAPTER_CONF=$(as_seen "$folder/adapter.conf")
}

# --- What OpenSSL makes before the flows.
iv() { printf '5a%.0s' $(seq "$1"); }
legacy=(-provider legacy -provider default)

make_session_key() { # make_session_key NAME KEY_BYTES BLOCK_BYTES CBC ECB
  local key
  openssl rand "$2" >"$1.key"
  key=$(od -An -v -tx1 "$1.key" | tr -d ' \n')
  openssl pkeyutl -encrypt -pubin -inkey public.pem -in "$1.key" -out "$1.wrapped"
  openssl enc "${legacy[@]}" -"$4" -nopad -K "$key" -iv "$(iv "$3")" -in blocks -out "$1.cbc"
  openssl enc "${legacy[@]}" -"$5" -nopad -K "$key" -in blocks -out "$1.ecb"
}
prepare_exchange() {
  cd "$exchange"
  # The test of this script gives OpenSSL a certificate that is not the token's.
  [ -z "${TELVO_MATRIX_OTHER_CERTIFICATE:-}" ] ||
    openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.pem -subj /CN=Other -out "$folder/module/cert.pem" 2>openssl.log
  openssl x509 -in "$folder/module/cert.pem" -outform DER -out cert.der
  openssl x509 -in "$folder/module/cert.pem" -noout -pubkey >public.pem
  seq 1 1000 >message
  { openssl dgst -md5 -binary message; openssl dgst -sha1 -binary message; } >md5sha1
  head -c 64 message >blocks
  printf 'what nobody else reads' >secret
  openssl pkeyutl -encrypt -pubin -inkey public.pem -in secret -out encrypted
  openssl genrsa -out other.pem 2048 2>openssl.log
  openssl rsa -in other.pem -pubout -outform MSBLOB -out other.blob 2>openssl.log
  openssl dgst -sha256 -sign other.pem -out other.signature message
  make_session_key des 8 8 des-cbc des-ecb
  make_session_key 3des 24 8 des-ede3-cbc des-ede3
  make_session_key aes 16 16 aes-128-cbc aes-128-ecb
}

# --- How OpenSSL checks a flow: judge_FLOW, where there is something to check.
judge_sign_sha1() { openssl dgst -sha1 -verify public.pem -signature signature message; }
judge_sign_sha256() { openssl dgst -sha256 -verify public.pem -signature signature message; }
judge_sign_sha512() { openssl dgst -sha512 -verify public.pem -signature signature message; }
judge_sign_ssl3() { openssl pkeyutl -verify -pubin -inkey public.pem -in md5sha1 -sigfile signature; }
judge_session_key_export() {
  local key
  # After a header of 12 bytes the provider's blob has the highest byte first; the key in it has the lowest byte first.
  tail -c +13 exported.blob | openssl pkeyutl -decrypt -inkey other.pem -out exported.key || return 1
  key=$(od -An -v -w1 -tx1 exported.key | tac | tr -d ' \n')
  openssl enc -d -des-ede3-cbc -nopad -K "$key" -iv "$(iv 8)" -in exported.cbc -out exported.blocks || return 1
  cmp blocks exported.blocks
}
judge_new_pair() {
  openssl rsa -pubin -inform MSBLOB -in new.blob -pubout -out new.pem || return 1
  openssl dgst -sha256 -verify new.pem -signature signature message || return 1
  # The certificate that write_certificate puts on the token.
  openssl x509 -new -force_pubkey new.pem -subj "/CN=New" -CA "$exchange/ca.crt" -CAkey "$exchange/ca.pem" -set_serial 2 -days 30 \
    -outform DER -out new.der
}
prepare_authority() {
  openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.pem -subj /CN=CA -days 30 -out ca.crt 2>openssl.log
}

# --- The flows.

# start FLOW: runs the program, and moves the card when a flow asks for it.
start() {
  timeout 180 "${run[@]}" "$1" >"$folder/$1.out" 2>"$folder/$1.err" &
  local client=$!
  if [ "$1" = pull_and_insert ]; then
    while kill -0 $client 2>/dev/null; do
      if [ -e card_move ]; then
        "$setup" "$(cat card_move)" "$folder/module" >>"$folder/$1.err" 2>&1 || true
        rm card_move
      fi
      sleep 0.05
    done
  fi
  wait $client
}

# token_did ENTRY: whether the module's function did the work. The adapter's trace shows it; without a trace there is no adapter.
token_did() { [ ! -e "$folder/trace" ] || grep -Eq "$1\b.*CKR_OK" "$folder/trace"; }

# apply_limits FLOW: changes outcome and reason of a flow that is in the file limits.
apply_limits() {
  local limit when
  IFS=$'\t' read -r limit when < <(
    awk -F'\t' -v module="$module" -v flow="$1" '$1 == module && $2 == flow { print $3 "\t" $4 }' "$here/limits") || return 0
  case $outcome:$when in
    failed:* | *:sometimes) outcome=cannot reason=$limit ;;
    works:* | emulated:*) outcome=failed reason="it works, but the limits say: $limit" ;;
  esac
}

# run_flow FLOW ENTRY
run_flow() {
  local flow=$1 entry=$2 code=0 outcome reason
  rm -f "$folder/trace" signature
  start "$flow" || code=$?
  [ $code != 124 ] || hung=$flow
  IFS=$'\t' read -r _ outcome reason < <(grep -a "^$flow	" "$folder/$flow.out" | tr -d '\r') || true
  [ -n "${outcome:-}" ] || { outcome=failed reason="the program ends with code $code"; }
  if [ "$outcome" = works ] && [ "$(type -t "judge_$flow")" = function ] && ! "judge_$flow" >"$folder/$flow.judge" 2>&1; then
    outcome=failed reason="OpenSSL refuses it"
  fi
  if [ "$outcome" = works ] && [ "$entry" != - ] && ! token_did "$entry"; then
    outcome=emulated reason="the adapter does in software what $entry would do"
  fi
  apply_limits "$flow"
  [ ! -e "$folder/trace" ] || mv "$folder/trace" "$folder/$flow.trace"
  printf '%s\t%s\t%s\n' "$flow" "$outcome" "$reason"
}

prepare_program
prepare_token
prepare_exchange
prepare_authority
"${run[@]}" --list | tr -d '\r' >"$folder/flows"
hung=
while IFS=$'\t' read -r flow entry _ <&3; do
  if [ $# -gt 0 ] && [[ " $* " != *" $flow "* ]]; then continue; fi
  if [ -z "$hung" ]; then run_flow "$flow" "$entry"; else printf '%s\tfailed\tnot run, because %s did not end\n' "$flow" "$hung"; fi
done 3<"$folder/flows"
