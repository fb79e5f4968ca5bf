#!/bin/sh
# dll_stands_alone.sh OBJDUMP DLL: the library is for 64-bit Windows and needs only the system's own libraries.
set -eu
objdump=$1 dll=$2
"$objdump" -f "$dll" | grep -q 'pei-x86-64' || { echo "FAILED: not a 64-bit Windows library"; exit 1; }
foreign=$("$objdump" -p "$dll" | sed -n 's/.*DLL Name: //p' | tr 'A-Z' 'a-z' |
  grep -vE '^(kernel32|advapi32|crypt32|user32|gdi32|winscard|msvcrt|comctl32|ws2_32)\.dll$' || true)
[ -z "$foreign" ] || { echo "FAILED: it needs $foreign"; exit 1; }
