#!/bin/bash
# telvotool_adapter.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# telvotool adapter, and what doctor reports about the adapter, with a module that only answers queries.
. "$(dirname "$0")/telvotool_stand.sh"

cp "$(dirname "$program")"/tests/adapter/libadapter_fake_module.dll module.dll
cp "$(dirname "$program")"/tests/adapter/libadapter_plain_library.dll plain.dll
path=Z:$folder
path=${path//\//\\}
no_settings() {
  "${run[@]}" reg delete "$product_key" /v AdapterSettings /f >/dev/null 2>&1 </dev/null || true
  rm -rf "${settings%/*/*}"
}
prefix=$("${run[@]}" winepath -u 'C:\ProgramData' </dev/null | tr -d '\r')
settings="$prefix/Brenholt Devices/TELVO CSP/telvopkcs11-adapter.conf"
no_settings
expect 0 register

echo "without settings"
expect 3 adapter show
complains 'the adapter has no settings: '
complains 'what to do: "telvotool adapter use PATH" names the module'
doctor 0 doctor
! grep -q ' adapter' out || fail "doctor mentions the adapter"

echo "wrong usage"
expect 2 adapter
complains 'missing: use PATH | show'
expect 2 adapter use
complains 'it is "adapter use PATH" or "adapter show"'
expect 2 adapter show module.dll
expect 2 adapter show --tries 3
complains '"adapter show" takes no options'
expect 2 adapter use module.dll --tries 16
complains "telvotool adapter: 'tries' is a number from 1 to 15"
expect 2 adapter use module.dll --keep-login perhaps
complains "'keep_login' is 'yes' or 'no'"
expect 2 adapter use module.dll --label "$(printf 'one\ntries = 1')"
complains '--label takes one line'
[ ! -e "$settings" ] || fail "a refused command wrote settings"

echo "use and show"
expect 0 adapter use module.dll --label 'Fake token' --tries 5
says "module: $path\\module.dll, Nobody, Fake module 1.2, PKCS #11 2.40"
says 'token: "Fake token", serial 12, in Fake reader'
says '  has: signing'
says '  cannot have: decryption, making key pairs and storing certificates'
says 'the adapter does: digests, session keys, '
quiet err
cat >wanted <<CONF
# Written by telvotool adapter use.
module = $path\\module.dll
label = Fake token
tries = 5
CONF
accept diff wanted "$settings"
cp out used
expect 0 adapter show
accept diff used out
"${run[@]}" reg query "$product_key" /v AdapterSettings >values </dev/null
grep -q 'REG_SZ *C:\\ProgramData\\Brenholt Devices\\TELVO CSP\\telvopkcs11-adapter.conf' values || fail "$(cat values)"

echo "a module that cannot be used"
head -c 5000 /dev/zero >zeros.dll
for refused in 3:nowhere.dll 1:zeros.dll 1:plain.dll 1:telvopkcs11.dll; do
  expect "${refused%%:*}" adapter use "${refused#*:}"
  accept diff wanted "$settings"  # the old settings stay
done
expect 1 adapter use zeros.dll
complains 'the file is no library'
expect 1 adapter use plain.dll
complains 'the library has no C_GetFunctionList: it is no PKCS #11 module'
expect 1 adapter use telvopkcs11.dll
complains 'is the library that the provider loads'
TELVO_FAKE_MODULE='lacks C_Decrypt' expect 1 adapter use module.dll
complains "the module's table lacks C_Decrypt"
TELVO_FAKE_MODULE="wants 'abc'" expect 1 adapter use module.dll
complains 'it may need an initialisation string'
accept diff wanted "$settings"
TELVO_FAKE_MODULE="wants 'abc'" expect 0 adapter use module.dll --init abc --trace trace.txt
grep -qxF 'initialisation = abc' "$settings" || fail "$(cat "$settings")"
grep -qxF "trace = $path\\trace.txt" "$settings" || fail "$(cat "$settings")"
[ ! -e trace.txt ] || fail "telvotool traced its own calls"

echo "doctor"
TELVO_FAKE_MODULE="wants 'abc'" doctor 0 doctor
says "ok    adapter: $path\\module.dll, Nobody, Fake module 1.2, PKCS #11 2.40, by C:\\ProgramData\\"
says 'warn  adapter, reader Fake reader: token "Fake token", serial 12, has signing, cannot have decryption, making key pairs and storing certificates; '
says 'ok    adapter: does by itself: digests, session keys, '
says "warn  adapter: the trace is on, $path\\trace.txt; switch it off"
TELVO_FAKE_MODULE='has no device' doctor 1 doctor
says "FAIL  adapter: $path\\module.dll: C_Initialize answered CKR_DEVICE_ERROR; \"telvotool adapter use PATH\""
expect 0 adapter use module.dll --label Another
says 'left out by the settings'
doctor 0 doctor
says 'ok    adapter, reader Fake reader: token "Fake token", serial 12, left out by the settings'
TELVO_FAKE_MODULE='has no slot' doctor 0 doctor
says 'warn  adapter: the module has no token; '
echo 'colour = red' >>"$settings"
doctor 1 doctor
says "FAIL  adapter: C:\\ProgramData\\Brenholt Devices\\TELVO CSP\\telvopkcs11-adapter.conf:4: unknown key 'colour'"
expect 1 adapter show
complains "4: unknown key 'colour' before the first [token]"

no_settings
echo "telvotool_adapter: $checks checks"
