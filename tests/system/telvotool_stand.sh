# telvotool_stand.sh: the setup that the tests of telvotool share. A script sources it with its own arguments:
# SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# It works in a new folder with the program, its libraries and two software tokens. Card A is inserted. The scripts
# register the provider in the registry of the whole prefix, so they need a separate prefix (telvo_prefix).
set -eEu
program=$2 provider=$3 softtoken=$4 native_softtoken=$5 dialog_user=$6
shift 7
run=("$@")
folder=$(mktemp -d)
cd "$folder"
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"; cat out err 2>/dev/null' ERR
product_key='HKLM\SOFTWARE\Brenholt Devices Ltd.\TELVO SDK'
provider_key='HKLM\SOFTWARE\Microsoft\Cryptography\Defaults\Provider\Brenholt Devices CSP v4.5'
clean_up() {
  for key in "$product_key" "$provider_key" 'HKCU\Software\Microsoft\SystemCertificates\My'; do
    "${run[@]}" reg delete "$key" /f >/dev/null 2>&1 || true
  done
  rm -rf "$folder"
}
trap clean_up EXIT
fail() { echo "FAILED: $*"; echo "-- out:"; cat out; echo "-- err:"; cat err; exit 1; }

cp "$program" "$provider" "$softtoken" .
touch a-is-in
cat >token.conf <<'CONF'
state = state
[slot]
reader = TELVO Reader A
label = Card A
serial = A000000000000001
pin = 123456
tries = 5
presence = file a-is-in
[slot]
reader = TELVO Reader B
label = Card B
serial = B000000000000002
pin = 123456
presence = file b-is-in
CONF
export TELVO_SOFTTOKEN_CONF=$folder/token.conf
echo 123456 >pin
echo 999999 >wrong-pin
printf '123456\r\n' >pin-of-windows
: >no-pin
seq 1 5000 >text
sed 's/^2500$/2501/' text >changed

checks=0
# expect CODE COMMAND...: runs telvotool; its output is in the files out and err.
expect() {
  local wanted=$1 code=0
  shift
  "${run[@]}" "$folder/telvotool.exe" "$@" >out 2>err </dev/null || code=$?
  checks=$((checks + 1))
  [ $code = "$wanted" ] || fail "telvotool $*: exit code $code instead of $wanted"
}
doctor() { TELVO_DISPLAY=none expect "$@"; }  # a dialog would show as a failure
says() { grep -qF -- "$1" out || fail "not in the output: $1"; }
complains() { grep -qF -- "$1" err || fail "not in the errors: $1"; }
quiet() { [ ! -s "$1" ] || fail "$1 is not empty"; }
accept() { checks=$((checks + 1)); "$@" >judge 2>&1 || { cat judge; fail "refused: $*"; }; }
refuse() { checks=$((checks + 1)); if "$@" >judge 2>&1; then fail "accepted: $*"; fi; }
card() { pkcs11-tool --module "$native_softtoken" --slot "$1" "${@:2}" 2>/dev/null; }
objects() { card "$1" --login --pin 123456 --list-objects | grep -c 'Object' || true; }
certificate_of() { card "$1" --read-object --type cert --label "$2" --output-file "$3" >/dev/null; }

# by_dialog CODE TITLE STEP... -- COMMAND...: runs telvotool as expect does, with a user at the dialog of that title.
by_dialog() {
  local wanted=$1 steps=() run=(timeout 60 "${run[@]}")  # nothing else closes a dialog that is left open
  shift
  while [ "$1" != -- ]; do steps+=("$1"); shift; done
  shift
  "${run[@]}" "$dialog_user" "${steps[@]}" >user </dev/null 2>&1 &
  local user=$!
  expect "$wanted" "$@"
  wait $user || { cat user; fail "the user of the dialog: ${steps[*]}"; }
}
