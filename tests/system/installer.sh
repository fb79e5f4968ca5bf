#!/bin/bash
# installer.sh SYSTEM SETUP SOFTTOKEN NATIVE_SOFTTOKEN FAKE_MODULE LOAD_LIBRARY -- RUN...
# The silent installer: where it puts its files, that the provider works from there, and that the uninstaller leaves no
# file and no registry key behind. It changes the registry and the system folder of the whole prefix, so it needs a
# separate prefix (telvo_prefix).
set -eu
setup=$2 softtoken=$3 native_softtoken=$4 fake_module=$5 load_library=$6
shift 7
tree=$(cd "$(dirname "$0")/../.." && pwd)
run=("$@")
folder=$(mktemp -d)
cd "$folder"
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"; tail -n 20 output 2>/dev/null' ERR
fail() { echo "FAILED: $*"; exit 1; }
wine_run() { "${run[@]}" "$@" </dev/null; }

drive=$(wine_run winepath -u 'C:\' | tr -d '\r')
system=$drive/windows/system32
installed="$drive/Program Files/Brenholt Devices/TELVO CSP"
data="$drive/ProgramData/Brenholt Devices"
company='HKLM\Software\Brenholt Devices Ltd.'
provider_key='HKLM\Software\Microsoft\Cryptography\Defaults\Provider\Brenholt Devices CSP v4.5'
uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\telvocsp'

# The uninstaller continues as a copy of itself, and deletes the folder last.
uninstall() {
  wine_run "$installed/uninstall.exe" /S || return
  for _ in $(seq 300); do
    [ -e "$installed" ] || return 0
    sleep 0.1
  done
  return 1
}
clean_up() {
  [ ! -e "$installed/uninstall.exe" ] || uninstall || true
  rm -rf "$system/telvopkcs11.dll" "$data"
  find "$system" -name '*.tmp' -size +100k -delete  # a library that was moved out of the way
  for key in "$company" 'HKCU\Software\Microsoft\SystemCertificates\My'; do
    wine_run reg delete "$key" /f >/dev/null 2>&1 || true
  done
  rm -rf "$folder"
}
trap clean_up EXIT

# snapshot NAME: every file of the drive except temporary files and those of users, and every key and value of
# HKLM\Software except the machine's certificate stores, which Wine fills when a program first asks for one.
snapshot() {
  (cd "$drive" && find . -path ./windows/temp -prune -o -path ./users -prune -o -print | sort) >"$1.files"
  wine_run reg export 'HKLM\Software' "Z:$folder/$1.reg" /y >/dev/null
  iconv -f UTF-16 -t UTF-8 "$1.reg" | tr -d '\r' |
    awk '/^\[/ { skip = index($0, "\\SystemCertificates") } !skip' >"$1.registry"
}
value() { wine_run reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | sed -n "s/^ *$2 *REG_[A-Z]* *//p"; }

# Replaces the token's own software, which puts the module into the system folder.
cp "$softtoken" "$system"
printf '%s\n' 'state = state' '[slot]' 'reader = TELVO Reader A' 'label = Card A' 'pin = 123456' >token.conf
export TELVO_SOFTTOKEN_CONF=$folder/token.conf
echo 123456 >pin
seq 1 1000 >text
wine_run reg delete "$company" /f >/dev/null 2>&1 || true  # of other tests; the uninstaller removes it when it is empty
snapshot before

echo "installation"
wine_run "$setup" /S || fail "the installer ends with $?"
for file in "$system/telvocsp.dll" "$installed/telvotool.exe" "$installed/administration.txt" "$installed/uninstall.exe"; do
  [ -s "$file" ] || fail "$file is not there"
done
[ "$(value "$provider_key" Type)" = 0x1 ] || fail "Type is $(value "$provider_key" Type)"
[ "$(value "$provider_key" 'Image Path')" = telvocsp.dll ] || fail "Image Path is $(value "$provider_key" 'Image Path')"
[ "$(value "$provider_key" SigInFile)" = 0x0 ] || fail "SigInFile is $(value "$provider_key" SigInFile)"
[ "$(value "$company\\TELVO SDK" CSPLOG)" = 0 ] || fail "no settings"
[ "$(value "$uninstall_key" DisplayName)" = 'Brenholt Devices CSP v4.5' ] || fail "it is not in the list of programs"

echo "use"
tool() { wine_run "$installed/telvotool.exe" "$@" >output 2>&1 || fail "telvotool $*: exit code $?: $(cat output)"; }
tool doctor
grep -q 'ok    library: C:\\windows\\system32\\telvocsp.dll' output || fail "another library: $(cat output)"
tool register  # again, by hand: the same
[ "$(value "$provider_key" Type)" = 0x1 ]
tool enrol signing --pin-file pin
tool sign text --pin-file pin
tool verify text
pkcs11-tool --module "$native_softtoken" --slot 0 --read-object --type cert --label signing --output-file cert.der >/dev/null 2>&1
openssl x509 -inform DER -in cert.der -out cert.pem
openssl cms -verify -binary -inform DER -in text.p7s -content text -CAfile cert.pem -purpose any -out /dev/null 2>output ||
  fail "OpenSSL refuses the signature: $(cat output)"
tool delete signing --yes --pin-file pin

echo "installation over an installation"
wine_run "$setup" /S || fail "the installer ends with $?"
[ "$(value "$uninstall_key" OwnsSettings)" = 0x1 ] || fail "no installation owns the settings"
tool doctor

echo "removal"
uninstall || fail "the uninstaller ends with $?"
snapshot after
diff before.files after.files || fail "files are left behind"
diff before.registry after.registry || fail "the registry is not as it was"

echo "an update, while a program holds the older library"
packaged=$(dirname "$setup")/packaging/files
mkdir -p older/adapter
for file in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll; do
  cp "$packaged/$file" "older/$file"
  printf 'older' >>"older/$file"
done
makensis -V1 -DVERSION=4.4 -DNUMBERS=4.4.0.0 "-DBUILD=$folder/older" "-DDOCS=$tree/docs" "-DOUTPUT=$folder/older-setup.exe" \
  "$tree/packaging/telvocsp.nsi"
wine_run "$folder/older-setup.exe" /S || fail "the older installer ends with $?"
[ "$(value "$uninstall_key" DisplayVersion)" = 4.4 ] || fail "the older version is not installed"
tool log on 'C:\update.log'
coproc holder { "${run[@]}" "$load_library" telvocsp.dll hold 2>&1; }
read -r -t 60 line <&"${holder[0]}"
[ "${line%$'\r'}" = loaded ] || fail "the older library is not loaded: $line"
wine_run "$setup" /S || fail "the installer ends with $? while a program holds the library"
cmp -s "$packaged/telvocsp.dll" "$system/telvocsp.dll" || fail "the library was not replaced"
cmp -s "$packaged/telvotool.exe" "$installed/telvotool.exe" || fail "telvotool was not replaced"
[ "$(value "$uninstall_key" DisplayVersion)" = 4.5 ] || fail "the list of programs has another version"
[ "$(value "$company\\TELVO SDK" CSPLOG)" = 1 ] || fail "the update changed a setting"
tool doctor
process=$holder_PID
echo >&"${holder[1]}"
wait "$process" || fail "the program with the older library ends with $?"
uninstall || fail "the uninstaller ends with $?"
rm -f "$drive/update.log"
remains=$(find "$system" -name '*.tmp' -size +100k)  # the older library, kept until Windows restarts
[ "$(echo "$remains" | wc -w)" = 1 ] || fail "not exactly one file waits for the restart: $remains"
rm -f "$remains"
snapshot after
diff before.files after.files || fail "files are left behind by the update"

echo "settings of somebody else"
older="$company\\TELVO-Quillkey Client Kit"
wine_run reg add "$older" /v CSPLOG /t REG_SZ /d 0 /f >/dev/null
wine_run "$setup" /S
wine_run reg query "$company\\TELVO SDK" >/dev/null 2>&1 && fail "a new key hides the older one"
uninstall
[ "$(value "$older" CSPLOG)" = 0 ] || fail "the settings of somebody else are gone"
wine_run reg delete "$older" /f >/dev/null

echo "the adapter beside another maker's module"
code=0
snapshot before
wine_run "$setup" /S /ADAPTER || code=$?
[ $code = 2 ] || fail "the installer ends with $code over another telvopkcs11.dll"
cmp -s "$softtoken" "$system/telvopkcs11.dll" || fail "another maker's module was replaced"
snapshot after
diff before.files after.files || fail "a refused installation left files"
diff before.registry after.registry || fail "a refused installation left something in the registry"
wine_run "$setup" /S || fail "the installer ends with $? without the adapter"
cmp -s "$softtoken" "$system/telvopkcs11.dll" || fail "the adapter is not off by default"
uninstall
cmp -s "$softtoken" "$system/telvopkcs11.dll" || fail "the uninstaller took another maker's module away"
rm "$system/telvopkcs11.dll"

echo "the adapter"
unset TELVO_SOFTTOKEN_CONF  # with it Wine loads the software token for any library of that name
snapshot before
wine_run "$setup" /S || fail "the installer ends with $?"
[ ! -e "$system/telvopkcs11.dll" ] || fail "the adapter is not off by default"
wine_run "$setup" /S /ADAPTER || fail "the installer ends with $? with the adapter"
grep -q C_GetFunctionList "$system/telvopkcs11.dll" || fail "the adapter is not there"
cp "$fake_module" fake.dll
tool adapter use fake.dll
settings="$data/TELVO CSP/telvopkcs11-adapter.conf"
[ -s "$settings" ] || fail "no settings of the adapter"
# Over an older adapter, which needs no switch.
cp "$system/telvopkcs11.dll" adapter.dll
printf 'older' >>"$system/telvopkcs11.dll"
wine_run "$setup" /S || fail "the installer ends with $? over an adapter"
cmp -s adapter.dll "$system/telvopkcs11.dll" || fail "an older adapter was not replaced"
[ -s "$settings" ] || fail "the settings of the adapter are gone"
uninstall
snapshot after
diff before.files after.files || fail "files are left behind with the adapter"
diff before.registry after.registry || fail "the registry is not as it was before the adapter"
echo "the installer: installed, used, removed"
