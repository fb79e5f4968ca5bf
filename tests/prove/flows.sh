# What the groups of prove_faults share. A group sources this after common.sh.

# run_proof PRESET PROOF EVERY: each EVERY-th run of a proof, under the sanitizers (host-asan) or under Wine (windows). Adds
# to $runs and $findings, and sets $figures to what the program says behind them. A program that ends in another way than by
# its figures is a finding.
runs=0
findings=0
run_proof() {
  local preset=$1 proof=$2 every=$3 line
  local program=build/$preset/tests/unit/prove_faults log=build/prove/$2.$1.log
  mkdir -p build/prove
  echo "$proof, $preset"
  if [ "$preset" = windows ]; then
    wine $program.exe "$proof" --every "$every" >"$log" 2>&1 || echo "ended with $?" >>"$log"
  else
    $program "$proof" --every "$every" >"$log" 2>&1 || echo "ended with $?" >>"$log"
  fi
  tr -d '\r' <"$log" | tail -n 20
  line=$(tr -d '\r' <"$log" | grep -E '^[a-z ]+: [0-9]+ runs, [0-9]+ findings' || true)
  if [ -z "$line" ]; then
    findings=$((findings + 1))
    return 0
  fi
  last_runs=$(sed -E 's/.*: ([0-9]+) runs.*/\1/' <<<"$line")
  runs=$((runs + last_runs))
  findings=$((findings + $(sed -E 's/.* ([0-9]+) findings.*/\1/' <<<"$line")))
  figures=$(sed -E 's/.* findings, //' <<<"$line")
  # What a sanitizer or its leak detection says at the end is no finding of the program itself.
  if grep -q '^ended with' "$log" && [[ "$line" = *" 0 findings"* ]]; then findings=$((findings + 1)); fi
}

build_proofs() {
  build host-asan prove_faults
  build windows prove_faults
}
