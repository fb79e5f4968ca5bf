#!/bin/bash
# telvotool.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# Every command of telvotool, on software tokens; OpenSSL and pkcs11-tool check the results.
. "$(dirname "$0")/telvotool_stand.sh"

echo "the command line"
expect 2
expect 0 --help
says 'usage: telvotool COMMAND'
says 'exit codes: 0 done'
for command in register unregister doctor containers certs enrol import-cert sign verify delete change-pin log adapter selftest explain; do
  expect 0 "$command" --help
  says "usage: telvotool $command"
  says 'examples:'
done
expect 2 nonsense
complains 'unknown command nonsense'
expect 2 sign
complains 'missing: FILE'
expect 2 sign text more
complains 'unexpected: more'
expect 2 sign text --loudly
complains 'unknown option --loudly'
expect 2 verify text --bits 4
complains '--bits is no option of this command'
expect 2 sign text --out
complains '--out needs a value'
expect 2 sign text --pin 123456
complains '--pin-file or --pin-stdin'
expect 2 sign text --pin-file pin --pin-stdin
expect 2 enrol 'two words' --pin-file pin
expect 2 enrol "$(printf 'x%.0s' $(seq 64))" --pin-file pin
expect 2 enrol signing --bits 1000 --pin-file pin
expect 2 enrol signing --subject nonsense --pin-file pin
complains 'a subject looks like this'
expect 2 sign text --hash md4

echo "registration"
expect 0 unregister
says 'not registered'
expect 1 doctor
says 'FAIL  registration: the provider is not registered; "telvotool register"'
expect 1 enrol signing --pin-file pin
complains 'NTE_KEYSET_NOT_DEF (0x80090019)'
complains 'what to do: the provider is not registered'
expect 3 register --dll 'C:\nowhere.dll'
# The same library, with another machine in its header.
python3 - telvocsp.dll x86.dll telvopkcs11.dll <<'PYTHON'
import sys
content = bytearray(open(sys.argv[1], 'rb').read())
head = int.from_bytes(content[60:64], 'little')
content[head + 4:head + 6] = b'\x4c\x01'
open(sys.argv[2], 'wb').write(content)
PYTHON
expect 1 register --dll x86.dll
complains 'is no 64-bit library, but one for x86'
expect 0 register
says 'registered: Brenholt Devices CSP v4.5, type 1, Z:\'
"${run[@]}" reg query "$provider_key" >values </dev/null
grep -q 'Type *REG_DWORD *0x1' values && grep -q 'Image Path *REG_SZ *Z:.*telvocsp.dll' values &&
  grep -q 'SigInFile *REG_DWORD *0x0' values || fail "the registration is not complete: $(cat values)"

echo "doctor"
doctor 0 doctor
says 'ok    registration: Brenholt Devices CSP v4.5, type 1'
says 'ok    provider: loads and answers'
says 'telvopkcs11.dll, 64-bit, '
says 'ok    reader TELVO Reader A: card "Card A", serial A0 00 00 00 00 00 00 01, PIN not locked'
says 'ok    reader TELVO Reader B: empty'
says 'ok    log: off'
says 'ok    PIN cache: on'
says 'ok    default provider of type 1 of this computer: Microsoft'
says 'ok    certificates: none in MY points to this provider'
quiet err
cp telvopkcs11.dll kept.dll
rm telvopkcs11.dll
doctor 1 doctor
says 'FAIL  module: telvopkcs11.dll is neither beside this program nor in the system folder'
cp x86.dll telvopkcs11.dll
doctor 1 doctor
says 'telvopkcs11.dll is for x86; install the 64-bit software'
cp "$provider" telvopkcs11.dll
(unset TELVO_SOFTTOKEN_CONF && doctor 1 doctor)  # without it a library beside the program is used as it is
says 'telvopkcs11.dll does not start: '
mv kept.dll telvopkcs11.dll
expect 0 register --dll telvocsp.dll
rm telvocsp.dll
doctor 1 doctor
says 'FAIL  library: '
cp "$provider" .

echo "PINs"
expect 4 enrol signing --pin-file wrong-pin
complains 'the PIN was not accepted, 4 tries are left'
expect 4 enrol signing --pin-file no-pin
complains 'no-pin holds no PIN in its first line'
expect 3 enrol signing --pin-file nowhere
for _ in 1 2; do
  doctor 0 doctor
  says 'PIN tries left: 4'
done
[ "$(objects 0)" = 0 ] || fail "a refused PIN left something on the card"
"${run[@]}" reg add "$product_key" /v PINCACHE /t REG_SZ /d 0 /f >/dev/null
expect 4 enrol signing --pin-file pin
complains 'PINCACHE is 0'
doctor 0 doctor
says 'warn  PIN cache: off'
"${run[@]}" reg delete "$product_key" /f >/dev/null

echo "enrolment"
expect 0 enrol signing --subject 'CN=Anna Example, O=Example Ltd, C=DE' --days 30 --pin-file pin-of-windows
says 'key: signing, RSA, 2048 bits'
says 'certificate: CN=Anna Example, O=Example Ltd, C=DE, until '
doctor 0 doctor
says 'ok    reader TELVO Reader A: card "Card A", serial A0 00 00 00 00 00 00 01, PIN not locked'
says 'its container "signing" is there'
expect 1 enrol signing --pin-file pin
complains 'NTE_EXISTS (0x8009000F)'
certificate_of 0 'Anna Example' cert.der
openssl x509 -inform DER -in cert.der -out cert.pem
accept openssl verify -CAfile cert.pem cert.pem
[ "$(openssl x509 -in cert.pem -noout -subject -nameopt RFC2253)" = 'subject=C=DE,O=Example Ltd,CN=Anna Example' ] ||
  [ "$(openssl x509 -in cert.pem -noout -subject -nameopt RFC2253)" = 'subject=CN=Anna Example,O=Example Ltd,C=DE' ] ||
  fail "the subject is $(openssl x509 -in cert.pem -noout -subject)"
accept openssl x509 -in cert.pem -noout -checkend $((29 * 86400))
refuse openssl x509 -in cert.pem -noout -checkend $((31 * 86400))
expect 0 containers
[ "$(cat out)" = $'signing\t2048\tTELVO Reader A\tCN=Anna Example, O=Example Ltd, C=DE' ] || fail "the container is listed differently"
expect 0 certs
thumbprint=$(openssl x509 -in cert.pem -noout -fingerprint -sha1 | sed 's/.*=//; s/://g')
says "$thumbprint"
expect 0 enrol small --bits 1024 --pin-file pin
expect 0 enrol large --bits 4096 --pin-file pin
expect 0 containers
[ "$(cut -f1,2 out | sort)" = $'large\t4096\nsigning\t2048\nsmall\t1024' ] || fail "other containers are listed"

echo "signatures"
verified() { openssl cms -verify -binary -inform DER -in "$1" -content "$2" -CAfile cert.pem -purpose any -out /dev/null; }
for hash in sha1 sha256 sha512; do
  expect 0 sign text --container signing --hash $hash --out $hash.p7s --pin-file pin
  says 'signer: CN=Anna Example'
  accept verified $hash.p7s text
  refuse verified $hash.p7s changed
  expect 0 verify text --signature $hash.p7s
  says 'valid: text'
  says "$thumbprint"
  expect 5 verify changed --signature $hash.p7s
  complains 'NOT valid'
  quiet out
done
openssl cms -cmsout -print -inform DER -in sha256.p7s | grep -q signingTime || fail "no signing time"
"${run[@]}" "$folder/telvotool.exe" sign text --container signing --pin-stdin <pin >out 2>err
accept verified text.p7s text
expect 0 verify text --signer cert.der
expect 0 verify text --signer cert.pem
certificate_of 0 small small.der
expect 5 verify text --signer small.der
complains 'it is not signed by CN=small'
expect 5 verify text --signature text
complains 'NOT valid: no signed message'
expect 3 verify changed
expect 3 sign nowhere --container signing --pin-file pin
complains 'ERROR_FILE_NOT_FOUND'
expect 3 sign text --container nowhere --pin-file pin
complains 'NTE_BAD_KEYSET (0x80090016)'
: >empty
expect 1 sign empty --container signing --pin-file pin
complains 'empty is empty'
head -c 20000000 /dev/zero >long
expect 0 sign long --container large --pin-file pin
certificate_of 0 large large.der
openssl x509 -inform DER -in large.der -out cert.pem
accept verified long.p7s long
openssl x509 -inform DER -in cert.der -out cert.pem

echo "requests and certificates of an authority"
expect 3 enrol office --request nowhere/office.p10 --pin-file pin
[ "$(card 0 --login --pin 123456 --list-objects | grep -c office)" = 0 ] || fail "a failed enrolment left a key behind"
expect 0 enrol office --request office.p10 --subject 'CN=Office' --pin-file pin
says 'request: office.p10, for CN=Office'
accept openssl req -inform DER -in office.p10 -verify -noout -subject
grep -q 'CN = Office' judge || fail "another subject: $(cat judge)"
expect 3 sign text --container office --pin-file pin
complains 'the container has a key and no certificate'
openssl req -x509 -newkey rsa:2048 -nodes -keyout authority.key -subj '/CN=Authority' -out authority.pem 2>/dev/null
openssl req -inform DER -in office.p10 -out office.csr
openssl x509 -req -in office.csr -CA authority.pem -CAkey authority.key -CAcreateserial -out office.pem 2>/dev/null
openssl x509 -in office.pem -outform DER -out office.der
expect 5 import-cert office cert.der --pin-file pin
complains 'belongs to another key'
expect 5 import-cert office text --pin-file pin
complains 'text is no certificate'
expect 3 import-cert nowhere office.pem --pin-file pin
expect 0 import-cert office office.pem --pin-file pin
expect 0 import-cert office office.der --pin-file pin
certificate_of 0 Office read.der
cmp read.der office.der || fail "another certificate is on the card"
expect 0 sign text --container office --out office.p7s --pin-file pin
accept openssl cms -verify -binary -inform DER -in office.p7s -content text -CAfile authority.pem -purpose any -out /dev/null
expect 0 verify text --signature office.p7s
says 'signer: CN=Office'
expect 0 certs
[ "$(cut -f1 out | sort | tr '\n' ' ')" = 'large office signing small ' ] || fail "other certificates are in MY"

echo "two cards"
touch b-is-in
expect 2 enrol second --pin-file pin
complains 'several cards are in'
expect 0 enrol second --reader 'TELVO Reader B' --pin-file pin
[ "$(objects 1)" = 3 ] || fail "$(objects 1) objects on card B"
expect 0 containers --reader 'TELVO Reader B'
[ "$(cut -f1,3 out)" = $'second\tTELVO Reader B' ] || fail "another container is listed"
expect 0 containers
[ "$(cut -f1 out | wc -l)" = 5 ] || fail "not all containers"
expect 3 containers --reader 'No Reader'
expect 0 sign text --container second --pin-file pin
expect 0 sign text --reader 'TELVO Reader B' --pin-file pin
says 'signer: CN=second'
rm b-is-in
doctor 0 doctor
says 'warn  certificate CN=second: its container "second" is not there'

echo "dialogs"
by_dialog 0 'Enter PIN for Card A' type:1002=123456 click:1001 gone -- sign text --container signing --out text.p7s
accept verified text.p7s text
by_dialog 4 'Enter PIN for Card A' type:1002=999999 click:1001 'reads:1092=Incorrect PIN, 4 trials left' click:1087 gone \
  -- sign text --container signing
# The limit of the login dialog is printed before the dialog is shown: the user cancels only after that was read.
"${run[@]}" "$folder/telvotool.exe" change-pin >out 2>err </dev/null &
program_pid=$!
accept "${run[@]}" "$dialog_user" 'Change PIN for Card A'
says 'note: the login dialog takes at most 8 characters; a longer PIN can be set here'
accept "${run[@]}" "$dialog_user" 'Change PIN for Card A' click:2 gone
code=0
wait $program_pid || code=$?
[ $code = 4 ] || fail "change-pin, cancelled: exit code $code"
complains 'the PIN was not changed'
by_dialog 0 'Change PIN for Card A' type:1068=123456 type:1069=Quill-42 type:1071=Quill-42 'reads:1079=Strong' click:1 gone \
  -- change-pin
says 'changed: the PIN of the card in TELVO Reader A'
expect 4 sign text --container signing --pin-file pin
echo Quill-42 >new-pin
expect 0 sign text --container signing --pin-file new-pin
by_dialog 0 'Change PIN for Card A' type:1068=Quill-42 type:1069=123456 type:1071=123456 click:1 gone \
  -- change-pin --reader 'TELVO Reader A'
expect 0 sign text --container signing --pin-file pin
# Nine characters: --pin-file accepts them, but the login dialog ends and the signature fails.
by_dialog 0 'Change PIN for Card A' type:1068=123456 type:1069=Quill-420 type:1071=Quill-420 click:1 gone -- change-pin
by_dialog 1 'Enter PIN for Card A' type:1002=Quill-420 click:1001 gone -- sign text --container signing
echo Quill-420 >new-pin
expect 0 sign text --container signing --pin-file new-pin
by_dialog 0 'Change PIN for Card A' type:1068=Quill-420 type:1069=123456 type:1071=123456 click:1 gone -- change-pin
TELVO_DISPLAY=none expect 1 change-pin
complains 'start the program where there is a screen'

echo "without a dialog and without a PIN"
# There is no screen, and nobody to cancel: the login fails at once.
TELVO_DISPLAY=none expect 1 sign text --container signing

echo "the log"
expect 0 log
says 'log: off, file: -'
expect 2 log on
expect 2 log on csp.log
expect 3 log on 'Z:\nowhere\csp.log'
expect 0 log on "Z:${folder//\//\\}\\csp.log"
says 'log: on, file: Z:'
expect 0 containers
grep -q 'CPAcquireContext' csp.log || fail "the provider logs nothing"
grep -q 123456 csp.log && fail "the PIN is in the log"
doctor 0 doctor
says 'warn  log: on, '
expect 0 log off
says 'log: off'
size=$(stat -c %s csp.log)
expect 0 containers
[ "$(stat -c %s csp.log)" = "$size" ] || fail "the provider still logs"

echo "deletion"
# A container with only a certificate, as another program may leave it.
card 0 --login --pin 123456 --write-object cert.der --type cert --id 6c6f6e65 --label lone >/dev/null
expect 0 containers
grep -q $'^lone\t-\tTELVO Reader A\t-$' out || fail "the certificate without a key is listed differently"
expect 3 sign text --container lone --pin-file pin
expect 0 delete lone --yes --pin-file pin
expect 3 delete lone --yes --pin-file pin
card 0 --login --pin 123456 --write-object cert.der --type cert --id 6c6f6e65 --label lone >/dev/null
expect 0 delete lone --yes --reader 'TELVO Reader A' --pin-file pin
expect 3 delete lone --yes --reader 'TELVO Reader A' --pin-file pin
expect 1 delete small --pin-file pin
complains 'nothing was deleted'
expect 3 delete nowhere --yes --pin-file pin
expect 4 delete small --yes --pin-file wrong-pin
echo small | "${run[@]}" "$folder/telvotool.exe" delete small --pin-file pin >out 2>err
says 'deleted: small'
says 'certificates taken out of MY: 1'
for name in signing large office; do expect 0 delete $name --yes --pin-file pin; done
[ "$(objects 0)" = 0 ] || fail "$(objects 0) objects remain on the card"
expect 0 containers
quiet out
touch b-is-in
expect 0 delete second --yes --reader 'TELVO Reader B' --pin-file pin
rm b-is-in
expect 0 certs
quiet out
rm a-is-in
expect 3 containers
complains 'no card is in'
expect 3 change-pin

expect 0 unregister
says 'unregistered'
refuse "${run[@]}" reg query "$provider_key"
echo "telvotool: $checks checks"
