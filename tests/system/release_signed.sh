#!/bin/bash
# release_signed.sh SOURCES PROVIDER TELVOTOOL ADAPTER: osslsigncode verifies each signed file with the certificate of
# its signer, and refuses it after one byte was changed.
set -eu
sources=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
cd "$folder"
openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out cert.pem -days 2 -subj "/CN=A signer for a test" \
  -addext extendedKeyUsage=codeSigning -addext keyUsage=digitalSignature 2>/dev/null
verify() { osslsigncode verify -CAfile cert.pem -in "$1" >output 2>&1; }

"$sources/packaging/package.sh" 4.5 4.5.0.0 "$@" "$folder/files" cert.pem key.pem
for file in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll telvocsp-setup.exe; do
  verify "files/$file" || { cat output; echo "FAILED: the signature of $file is refused"; exit 1; }
  cp "files/$file" changed
  printf '\x41' | dd of=changed bs=1 seek=5000 conv=notrunc status=none
  ! verify changed || { echo "FAILED: $file was changed, and its signature is accepted"; exit 1; }
done
# Without a certificate package.sh signs nothing.
"$sources/packaging/package.sh" 4.5 4.5.0.0 "$@" "$folder/unsigned"
! verify unsigned/telvocsp.dll || { echo "FAILED: an unsigned file is accepted"; exit 1; }
