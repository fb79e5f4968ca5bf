#!/bin/sh
# log_objects.sh SOURCE: each source file writes through the log object of its module, whatever it logs.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

cat >"$folder/wanted" <<'TABLE'
context g_contextLog
context/unreached/CertificateHelpers.cpp g_certificateLog
cryptoki/Cryptoki.cpp g_cryptokiLog
cryptoki/CryptokiObject.cpp g_objectLog
cryptoki/CryptokiObjects.cpp g_objectLog
cryptoki/PrivateKey.cpp g_objectLog
cryptoki/SessionObjects.cpp g_sessionLog
dialogs/CLoginEX.cpp g_loginLog
dialogs/unreached/CChangePwdDlg.cpp g_changePwdLog
entry g_entryLog
objects/CCSPHash.cpp g_hashLog
objects/CCSPSecretKeyFactory.h g_secretKeyLog
pin/CTELVOPINCache.cpp g_pinCacheLog
pin/PINCacheManager.cpp g_pinCacheLog
TABLE
# A folder that is one module counts as a whole.
cd "$1/src"
grep -orE 'g_[A-Za-z]+Log\b' . --include=*.cpp --include=*.h | sed 's#^\./##; s/:/ /' |
  grep -vE '^(log/Logs\.h|entry/ProcessObjects\.cpp) ' |
  sed -E '\#^context/unreached/CertificateHelpers#!s#^context/[^ ]* g_contextLog#context g_contextLog#
    s#^entry/[^ ]* g_entryLog#entry g_entryLog#' |
  LC_ALL=C sort -u >"$folder/found"
if ! diff "$folder/wanted" "$folder/found"; then
  echo "FAILED: a file writes through another log object than its module's (>), or no longer writes (<)"
  exit 1
fi
