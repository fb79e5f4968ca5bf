#!/bin/bash
# telvotool_settings.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# How telvotool reads the three values in the registry, including values whose type or length cannot be intended.
# The results are compared with the provider's on a software token.
. "$(dirname "$0")/telvotool_stand.sh"

# set_value NAME TYPE DATA
set_value() { "${run[@]}" reg add "$product_key" /v "$1" /t "$2" /d "$3" /f >/dev/null </dev/null; }
no_settings() { "${run[@]}" reg delete "$product_key" /f >/dev/null 2>&1 </dev/null || true; }
windows_path() { local path=Z:$folder/$1; echo "${path//\//\\}"; }
no_warning_of() { ! grep -q "^warn  $1: " out || fail "a warning about $1"; }

expect 0 register
no_settings
expect 0 enrol signing --pin-file pin

echo "PINCACHE"
doctor 0 doctor
says 'ok    PIN cache: on'
no_warning_of PINCACHE
set_value PINCACHE REG_SZ 1
doctor 0 doctor
says 'ok    PIN cache: on'
no_warning_of PINCACHE
set_value PINCACHE REG_SZ 0
doctor 0 doctor
says 'warn  PIN cache: off'
no_warning_of PINCACHE
TELVO_DISPLAY=none expect 4 sign text --container signing --pin-file pin
complains 'the PIN cache is off (PINCACHE is 0), and the provider would ask in a dialog'
# The provider reads the bytes of a number as text.
set_value PINCACHE REG_DWORD 1
doctor 0 doctor
says 'warn  PIN cache: off'
says 'warn  PINCACHE: its type is REG_DWORD, and its bytes are read as text: it counts as off; store it as a string (REG_SZ)'
for command in 'sign text --container signing' 'enrol second' 'delete signing --yes'; do
  TELVO_DISPLAY=none expect 4 $command --pin-file pin
  complains 'the PIN cache is off (PINCACHE: its type is REG_DWORD, and its bytes are read as text: it counts as off)'
  complains 'what to do: set PINCACHE to 1, as a string (REG_SZ)'
done
set_value PINCACHE REG_DWORD 49
doctor 0 doctor
says 'ok    PIN cache: on'
says 'warn  PINCACHE: its type is REG_DWORD, and its bytes are read as text: it counts as on; store it as a string (REG_SZ)'
expect 0 sign text --container signing --pin-file pin
set_value PINCACHE REG_BINARY 3000
doctor 0 doctor
says 'warn  PIN cache: off'
says 'warn  PINCACHE: its type is REG_BINARY, and'
set_value PINCACHE REG_SZ off
doctor 0 doctor
says 'warn  PIN cache: off'
says 'warn  PINCACHE: it is no number: it counts as off; store 0 or 1'
set_value PINCACHE REG_SZ "$(printf '0%.0s' $(seq 32))"
doctor 0 doctor
says 'ok    PIN cache: on'
says 'warn  PINCACHE: it has 33 bytes, and at most 32 are read: it counts as on; store a shorter one'
expect 0 sign text --container signing --pin-file pin
no_settings

echo "CSPLOG"
set_value CSPDIR REG_SZ "$(windows_path csp.log)"
set_value CSPLOG REG_DWORD 1
doctor 0 doctor
says 'ok    log: off'
says 'warn  CSPLOG: its type is REG_DWORD, and its bytes are read as text: it counts as off; store it as a string (REG_SZ)'
expect 0 log
says 'log: off'
[ ! -e csp.log ] || fail "the provider logs"
set_value CSPLOG REG_DWORD 49
doctor 0 doctor
says 'warn  log: on, Z:'
says 'warn  CSPLOG: its type is REG_DWORD, and its bytes are read as text: it counts as on; store it as a string (REG_SZ)'
grep -q 'CPAcquireContext' csp.log || fail "the provider does not log"
rm csp.log
for text in '  1' 1abc; do
  set_value CSPLOG REG_SZ "$text"
  expect 0 log
  says 'log: on'
  expect 0 containers
  grep -q 'CPAcquireContext' csp.log || fail "the provider does not log"
  rm csp.log
done
set_value CSPLOG REG_SZ yes
doctor 0 doctor
says 'warn  CSPLOG: it is no number: it counts as off; store 0 or 1'
set_value CSPLOG REG_SZ "$(printf '1%.0s' $(seq 31))"
doctor 0 doctor
says 'ok    log: off'
says 'warn  CSPLOG: it has 32 bytes, and at most 31 are read: it counts as off; store a shorter one'
[ ! -e csp.log ] || fail "the provider logs"

echo "CSPDIR"
set_value CSPLOG REG_SZ 1
doctor 0 doctor
no_warning_of CSPLOG
no_warning_of CSPDIR
set_value CSPDIR REG_SZ "$(windows_path "$(printf 'x%.0s' $(seq 260))")"
doctor 0 doctor
says 'warn  log: on, without a file'
says ' bytes, and at most 260 are read: it counts as not set; store a shorter one'
set_value CSPDIR REG_SZ "Z:${folder//\//\\}"
doctor 0 doctor
says 'warn  CSPDIR: it names a folder: nothing is logged; name a file in it'
set_value CSPDIR REG_SZ 'Z:\nowhere\csp.log'
doctor 0 doctor
says 'warn  CSPDIR: the folder of the file is not there: nothing is logged; make the folder, or name another file'
set_value CSPDIR REG_SZ csp.log
doctor 0 doctor
says 'warn  CSPDIR: it is no complete path: each program logs into its current folder; begin it with a drive, like C:\Temp\csp.log'
# Neither the provider nor telvotool expands variables.
set_value CSPDIR REG_EXPAND_SZ '%SystemDrive%\csp.log'
doctor 0 doctor
says 'warn  log: on, %SystemDrive%\csp.log'
says 'warn  CSPDIR: it is no complete path'
set_value CSPDIR REG_DWORD 97
doctor 0 doctor
says 'warn  CSPDIR: its type is REG_DWORD, and its bytes are read as text: it counts as "a"; store it as a string (REG_SZ)'
# With the log off, its file does not matter.
set_value CSPLOG REG_SZ 0
set_value CSPDIR REG_SZ 'Z:\nowhere\csp.log'
doctor 0 doctor
no_warning_of CSPDIR
no_settings

expect 0 delete signing --yes --pin-file pin
expect 0 unregister
echo "telvotool_settings: $checks checks"
