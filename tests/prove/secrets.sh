#!/bin/bash
# secrets.sh short|full: sends PINs and keys through the provider, and searches all writable memory of its process for them:
# with the sources on Linux and under Wine, and with telvocsp.dll under the system's CryptoAPI.
. "$(dirname "$0")/common.sh"
host=2 windows=2
[ "$1" = short ] || host=30 windows=12
out=build/prove/secrets
mkdir -p "$out"

build host prove_secrets
build windows prove_secrets prove_secrets_library
export TELVO_PROVIDER="Z:${PWD//\//\\}\\build\\windows\\telvocsp.dll"
build/host/tests/unit/prove_secrets $host >"$out/host" &
wine build/windows/tests/unit/prove_secrets.exe $windows | tr -d '\r' >"$out/wine" || true
wine build/windows/tests/unit/prove_secrets_library.exe $windows | tr -d '\r' >"$out/library" || true
wait $! || true
cat "$out/host" "$out/wine" "$out/library"
add_up "$out/host" "$out/wine" "$out/library"
finish "$runs" "$findings" "$host rounds on Linux and 2 x $windows under Wine, each with its own four PINs and five other secrets in \
every path; the $(((told_1 + told_2 + told_3) / 3)) KiB of writable memory contain only the remembered PIN under its mask, and no secret \
after the PIN is forgotten, the key destroyed, the context released, the library unloaded; no PIN in the log"
