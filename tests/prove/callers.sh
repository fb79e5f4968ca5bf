#!/bin/bash
# callers.sh short|full: calls each export with each pointer null, with lengths around the one that is needed, and with handles
# of every kind: under AddressSanitizer and UndefinedBehaviorSanitizer, and under Wine.
. "$(dirname "$0")/common.sh"
deviations=99
[ "$1" = full ] || deviations=1
out=build/prove/callers
mkdir -p "$out"

build host-asan prove_callers
build windows prove_callers
build/host-asan/tests/unit/prove_callers $deviations >"$out/asan" 2>&1 &
asan=$!
wine build/windows/tests/unit/prove_callers.exe $deviations 2>&1 | tr -d '\r' >"$out/wine" || true
wait $asan || true
cat "$out/asan" "$out/wine"
add_up "$out/asan" "$out/wine"
reports "$out/asan"
finish "$runs" "$findings" "each of the $told_1 exports with every combination of null pointers, lengths (0, 1, needed - 1, \
needed, 0xFFFFFFFF) and handles (0, unknown, valid, valid + 2^32), with buffers that end at an inaccessible page: no crash, no access \
outside the declared buffer except where documented, a last error with each FALSE, only documented exceptions"
