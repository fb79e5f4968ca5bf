#!/bin/bash
# races.sh short|full: eight threads use two cards that are pulled and put back, while PINs are cleared: under ThreadSanitizer,
# and without it under Wine.
. "$(dirname "$0")/common.sh"
operations=50 clears=500 seeds=1
[ "$1" = short ] || operations=1000 clears=10000 seeds="1 2"
out=build/prove/races
mkdir -p "$out"
files=()

build host-tsan prove_races
build windows prove_races
for seed in $seeds; do
  build/host-tsan/tests/unit/prove_races $operations $clears "$seed" >"$out/tsan-$seed" 2>&1 || true
  wine build/windows/tests/unit/prove_races.exe $operations $clears "$seed" 2>&1 | tr -d '\r' >"$out/wine-$seed" || true
  files+=("$out/tsan-$seed" "$out/wine-$seed")
done
cat "${files[@]}"
add_up "${files[@]}"
reports "${files[@]}"
signatures=0 pulls=0
for file in "${files[@]}"; do
  read -r _ _ _ _ made pulled _ <<<"$(grep '^tally: ' "$file" | tail -n 1)"
  signatures=$((signatures + ${made:-0})) pulls=$((pulls + ${pulled:-0}))
done
finish "$runs" "$findings" "${#files[@]} runs, half of them under ThreadSanitizer, each with 8 threads and 8 contexts on 2 cards, \
$operations operations of each thread and $clears cleared PINs, and with $pulls pulled cards in all: no ThreadSanitizer report, $signatures \
signatures, all of them valid, no wrong PIN, no deadlock"
