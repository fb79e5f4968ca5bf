# Shared by the groups that run prove_faults. A group sources this after common.sh.

# run_proof PRESET PROOF EVERY: runs each EVERY-th run of a proof, under the sanitizers (host-asan) or under Wine (windows).
# Adds to $runs and $findings, and sets $figures to the rest of the program's result line. A program without a result line
# is a finding.
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
  # The program does not count a sanitizer's report at its end, such as a leak.
  if grep -q '^ended with' "$log" && [[ "$line" = *" 0 findings"* ]]; then findings=$((findings + 1)); fi
}

build_proofs() {
  build host-asan prove_faults
  build windows prove_faults
}
