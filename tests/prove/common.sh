# Shared by the groups of scripts/prove. A group is a script that is run from the root of the repository with "short" or "full".
# It may write to build/prove/GROUP, and ends with a call of finish.
set -eu

# build PRESET TARGET...: builds what a group runs. Shows the end of the output only when the build fails.
build() {
  local preset=$1 log=build/prove/build.log
  shift
  if cmake --preset "$preset" >$log 2>&1 && cmake --build --preset "$preset" -j "$(nproc)" --target "$@" >>$log 2>&1; then return 0; fi
  tail -n 40 $log
  exit 1
}

# wine PROGRAM...: runs a program of the windows preset.
wine() { cmake/wine-run "$PWD/build/windows" "$@"; }

# finish RUNS FINDINGS SHOWN [EXPLAINED]: ends a group. SHOWN is one sentence with figures: what the run has shown. It also
# gives the reasons for EXPLAINED of the findings, 0 by default. Fails when there are other findings.
finish() {
  printf 'prove-runs: %s\nprove-findings: %s\nprove-shown: %s\n' "$1" "$2" "$3"
  [ "$2" = "${4:-0}" ]
}

# add_up FILE...: reads the last line "tally: RUNS FINDINGS ROUNDS FIGURE" from each output of a group's programs. Sets runs and
# findings to the sums, and told_1, told_2, ... to the figures in the order of the files. An output without such a line is a
# finding.
add_up() {
  local file line number=0
  runs=0 findings=0
  for file in "$@"; do
    number=$((number + 1))
    line=$(grep '^tally: ' "$file" | tail -n 1) || line="tally: 0 1 0 0"
    read -r _ a b _ c <<<"$line"
    runs=$((runs + a)) findings=$((findings + b))
    printf -v "told_$number" '%s' "${c:-0}"
  done
}

# reports FILE...: adds the number of sanitizer reports in the outputs to findings.
reports() {
  local count
  count=$(cat "$@" | grep -cE 'ERROR: [A-Za-z]*Sanitizer|WARNING: ThreadSanitizer|runtime error:' || true)
  findings=$((findings + count))
}
