#!/bin/bash
# secrets.sh short|full: PINs and keys go through the provider, and all memory of its process is searched for them: the sources
# on Linux and under Wine, and telvocsp.dll below the system's CryptoAPI.
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
finish "$runs" "$findings" "$host rounds on Linux and 2 x $windows under Wine, each with four PINs and five keys of its own in every path; \
of $(((told_1 + told_2 + told_3) / 3)) KiB of writable memory nothing but the kept PIN under its mask, and nothing after it is forgotten, \
the key destroyed, the context released, the library unloaded; no PIN in the log"
