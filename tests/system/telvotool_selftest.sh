#!/bin/bash
# telvotool_selftest.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# telvotool selftest on a software token: a run without failures, a wrong and a locked PIN, a card that is pulled and
# put back, and the contents of a report. OpenSSL checks a certificate and a signature of the kept container.
. "$(dirname "$0")/telvotool_stand.sh"

# The objects on card A, without their order and handles.
inventory() { card 0 --login --pin 123456 --list-objects | grep -E 'Object|label|ID' | sort; }
nothing_remains() { inventory >after; diff before after >judge || { cat judge; fail "$1: the card is not as it was"; }; }
name_said() { sed -n 's/.*"\(selftest-[0-9A-F]*\)".*/\1/p' "$1" | head -1; }
one_reader() {
  printf '%s\n' 'state = state' '[slot]' 'reader = TELVO Reader A' 'label = Card A' 'serial = A000000000000001' \
    'pin = 123456' 'tries = 5' "presence = $1" >token.conf
}

expect 0 register
expect 0 enrol signing --subject 'CN=Anna Example, O=Example Ltd' --pin-file pin
expect 0 certs
inventory >before

echo "the command line"
expect 2 selftest --pin-stdin
complains '--pin-stdin leaves no line for the question'
expect 2 selftest NAME
expect 2 selftest --yes --pin-file pin --report
expect 3 selftest --yes --pin-file nowhere
quiet out
expect 3 selftest --yes --pin-file pin --report nowhere/report.txt
quiet out
# Nobody answers the question.
expect 1 selftest --pin-file pin
complains 'It makes the container "selftest-'
complains 'Nothing else on the card is changed.'
complains 'Go on? Type yes: '
complains 'nothing was done'
quiet out
nothing_remains "a self-test that was not confirmed"

echo "all is well"
expect 0 selftest --yes --pin-file pin --report report.txt
for step in 'random bytes' PIN 'new key pair, 2048 bits' 'certificate written' 'certificate read back' \
  'hash and signature, MD5' 'hash and signature, SHA-1' 'hash and signature, SHA-256' 'hash and signature, SHA-512' \
  'hash and signature, SSL3 SHAMD5' verification decryption encryption 'session key in, DES' 'session key in, AES-128' \
  'session key in, triple DES' 'session key in, triple DES with two keys' 'session key out, triple DES' \
  'PIN cache' enumeration deletion; do
  grep -qE "^ok    $step \([0-9]+ ms\)$" out || fail "not ok: $step"
done
says '22 ok, 0 failed, 0 not applicable'
complains 'report: report.txt'
nothing_remains "a self-test"
echo yes | "${run[@]}" "$folder/telvotool.exe" selftest --pin-file pin >out 2>err || fail "the answer yes"
says '22 ok, 0 failed'
"${run[@]}" "$folder/telvotool.exe" selftest --yes --pin-stdin <pin >out 2>err || fail "the PIN from the standard input"
says '22 ok, 0 failed'
TELVO_DISPLAY=none expect 0 selftest --yes --pin-file pin --reader 'TELVO Reader A'
by_dialog 0 'Enter PIN for Card A' type:1002=123456 click:1001 gone -- selftest --yes
says 'n/a   PIN ('
says '21 ok, 0 failed, 1 not applicable'
nothing_remains "self-tests"

echo "the report"
for part in '# telvotool report' 'telvotool.exe 4.5.0.0' 'telvocsp.dll 4.5.0.0' 'build 7601' \
  'ok    registration: Brenholt' 'card "(left out)", serial (left out), PIN not locked' \
  'certificate (left out): its container "(left out)" is there' 'PINCACHE: not set, counts as "1"' \
  '22 ok, 0 failed, 0 not applicable'; do
  grep -qF -- "$part" report.txt || { cat report.txt; fail "not in the report: $part"; }
done
# holds_none FILE SECRET...: the file contains none of them.
holds_none() {
  local file=$1
  shift
  for secret in "$@"; do
    ! grep -qiF -- "$secret" "$file" || { cat "$file"; fail "in $file: $secret"; }
  done
}
secrets=(123456 999999 Anna 'Example Ltd' 'Card A' 'A0 00 00' A000000000000001 'CN=' "\\$(id -un)\\" BEGIN)
holds_none report.txt "${secrets[@]}"
holds_none out 123456

echo "JSON"
expect 0 selftest --yes --pin-file pin --json
accept python3 - out <<'PYTHON'
import json, sys
result = json.load(open(sys.argv[1]))
assert len(result['steps']) == 22 == result['ok'], result
assert all(step['result'] == 'ok' and step['ms'] >= 0 and step['text'] == '' for step in result['steps']), result
assert result['failed'] == result['notApplicable'] == 0 and result['error'] == '', result
PYTHON
expect 3 selftest --yes --pin-file pin --json --reader 'No "Reader'
accept python3 - out <<'PYTHON'
import json, sys
result = json.load(open(sys.argv[1]))
assert result['steps'] == [] and result['error'] == 'no card is in a reader "No "Reader"', result
PYTHON

echo "a container that is kept"
expect 0 selftest --yes --pin-file pin --keep
says '21 ok, 0 failed, 1 not applicable'
kept=$(name_said err)
says "n/a   deletion"
says "telvotool delete $kept"
expect 0 containers
grep -qE "^$kept"$'\t2048\tTELVO Reader A\tCN=telvotool self-test$' out || fail "the container is not kept"
certificate_of 0 'telvotool self-test' kept.der
openssl x509 -inform DER -in kept.der -out kept.pem
accept openssl verify -x509_strict -check_ss_sig -CAfile kept.pem kept.pem
expect 0 sign text --container "$kept" --pin-file pin
accept openssl cms -verify -binary -inform DER -in text.p7s -content text -CAfile kept.pem -purpose any -out /dev/null
refuse openssl cms -verify -binary -inform DER -in text.p7s -content changed -CAfile kept.pem -purpose any -out /dev/null
expect 0 delete "$kept" --yes --pin-file pin
nothing_remains "the kept container, deleted"

echo "a wrong PIN uses one try"
for left in 4 3; do
  expect 4 selftest --yes --pin-file wrong-pin --report report.txt
  says "): the PIN was not accepted, $left tries are left"
  says '1 ok, 1 failed, 1 not applicable'
  holds_none out 999999
  holds_none report.txt "${secrets[@]}"
  doctor 0 doctor
  says "PIN tries left: $left"
done
expect 1 selftest --pin-file wrong-pin
complains 'Tries left: 3.'
expect 4 selftest --yes --pin-file no-pin
doctor 0 doctor
says 'PIN tries left: 3'
by_dialog 4 'Enter PIN for Card A' click:1087 gone -- selftest --yes
says 'SCARD_W_CANCELLED_BY_USER'
nothing_remains "a refused PIN"  # the right PIN restores the tries
TELVO_DISPLAY=none expect 0 selftest --yes --pin-file pin
"${run[@]}" reg add "$product_key" /v PINCACHE /t REG_SZ /d 0 /f >/dev/null
user=$(id -un)
"${run[@]}" reg add "$product_key" /v CSPDIR /t REG_SZ /d "C:\\users\\$user\\$user.log" /f >/dev/null
expect 4 selftest --yes --pin-file pin --report report.txt
complains 'PINCACHE is 0'
grep -qF 'PINCACHE: "0", type 1' report.txt || fail "the report does not show the setting"
grep -qF 'CSPDIR: "C:\users\(left out)\(left out).log", type 1' report.txt || { cat report.txt; fail "the user is named"; }
"${run[@]}" reg delete "$product_key" /f >/dev/null
doctor 0 doctor
says 'PIN not locked'

echo "the card goes and comes back"
# The card is pulled and put back after the key is made. If the self-test is done before that, it is run again.
one_reader 'file a-is-in'
for ((attempt = 1; ; ++attempt)); do
  [ $attempt -le 10 ] || fail "no step has failed"
  "${run[@]}" "$folder/telvotool.exe" selftest --yes --pin-file pin 2>err </dev/null |
    while IFS= read -r line; do
      echo "$line"
      if [[ $line == *'new key pair'* ]]; then touch a-is-in; fi
    done >out
  code=${PIPESTATUS[0]}
  nothing_remains "a card that came back"
  grep -q '^FAIL' out && break
done
[ $code = 1 ] || fail "exit code $code"
grep -q '^ok    deletion' out || fail "the container was not deleted"

echo "the card goes"
for looks in 60 150 220; do
  one_reader "looks $looks"
  expect 3 selftest --yes --pin-file pin --report report.txt
  complains 'the self-test was not finished: the card was pulled'
  grep -qF 'the card was pulled' report.txt || fail "not in the report"
  holds_none report.txt "${secrets[@]}"
  says 'n/a   enumeration (0 ms): the card was pulled'
  name=$(name_said err)
  one_reader 'file a-is-in'
  if grep -q '^FAIL  deletion' out; then
    says "\"$name\" may still be on the card; put it in, then: telvotool delete $name"
    code=0
    "${run[@]}" "$folder/telvotool.exe" delete "$name" --yes --pin-file pin >out 2>err || code=$?
    [ $code = 0 ] || [ $code = 3 ] || fail "delete: exit code $code"
  fi
  nothing_remains "a card that was pulled"
done

echo "a locked PIN"
for _ in 1 2 3 4 5; do expect 4 selftest --yes --pin-file wrong-pin; done
expect 4 selftest --yes --pin-file pin --report report.txt
complains 'the PIN of the card is locked, so no PIN was offered'
complains "the card's issuer can unlock it"
quiet out
grep -qF 'PIN locked' report.txt || fail "the report does not say that the PIN is locked"
holds_none report.txt "${secrets[@]}"

echo "no card"
rm a-is-in
expect 3 selftest --yes --pin-file pin --report report.txt
complains 'no card is in'
quiet out
grep -qF 'it ended with: no card is in' report.txt || fail "the report does not say why"
expect 0 unregister
expect 3 selftest --yes --pin-file pin --report report.txt
grep -qF 'FAIL  registration: the provider is not registered' report.txt || fail "the report does not say what is missing"
touch a-is-in
mv telvopkcs11.dll kept.dll
expect 1 selftest --yes --pin-file pin --report report.txt
complains 'the PKCS #11 module refused'
grep -qF 'FAIL  module: telvopkcs11.dll is neither beside' report.txt || fail "the report does not say that the module is missing"
grep -qF 'it ended with: the PKCS #11 module refused' report.txt || fail "the report does not say how it ended"
mv kept.dll telvopkcs11.dll
rm -rf state
expect 1 selftest --yes --pin-file pin
says 'FAIL  random bytes'
says 'NTE_KEYSET_NOT_DEF (0x80090019)'
says 'n/a   deletion'
echo "telvotool_selftest: $checks checks"
