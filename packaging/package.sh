#!/bin/bash
# package.sh VERSION NUMBERS PROVIDER TELVOTOOL ADAPTER FOLDER [CERTIFICATE KEY]: makes the files for users in FOLDER: telvocsp.dll,
# telvotool.exe and adapter/telvopkcs11.dll without symbols, and their installer, telvocsp-setup.exe. VERSION is "4.5",
# NUMBERS "4.5.0.0". With CERTIFICATE and KEY (PEM files) each file is signed (Authenticode, SHA-256).
#
# The same input gives the same bytes, except for signatures, which contain a time.
set -eu
version=$1 numbers=$2 provider=$3 telvotool=$4 adapter=$5 folder=$6
shift 6
tree=$(cd "$(dirname "$0")/.." && pwd)
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-0}  # the time that the installer contains

strip() { x86_64-w64-mingw32-strip -o "$2" "$1"; }

# sign DESCRIPTION FILE CERTIFICATE KEY
sign() {
  osslsigncode sign -h sha256 -n "$1" -certs "$3" -key "$4" ${TIMESTAMP_URL:+-ts "$TIMESTAMP_URL"} -in "$2" -out "$2.signed" >/dev/null
  mv "$2.signed" "$2"
}

name="Brenholt Devices CSP"
mkdir -p "$folder/adapter"
strip "$provider" "$folder/telvocsp.dll"
strip "$telvotool" "$folder/telvotool.exe"
strip "$adapter" "$folder/adapter/telvopkcs11.dll"
if [ $# = 2 ]; then
  for file in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll; do sign "$name" "$folder/$file" "$@"; done
fi
makensis -V2 "-DVERSION=$version" "-DNUMBERS=$numbers" "-DBUILD=$folder" "-DDOCS=$tree/docs" "-DOUTPUT=$folder/telvocsp-setup.exe" \
  "$tree/packaging/telvocsp.nsi"
if [ $# = 2 ]; then sign "$name" "$folder/telvocsp-setup.exe" "$@"; fi
