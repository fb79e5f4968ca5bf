#!/bin/bash
# fuzz.sh short|full: runs each fuzzer of tests/fuzz for FUZZ_SECONDS (default 600, short form 2), two at a time, starting from
# its corpus. Then measures which part of src, without the dialogs, the corpora alone reach.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
seconds=${FUZZ_SECONDS:-600}
[ "$1" = full ] || seconds=${FUZZ_SECONDS:-2}
root=$PWD
out=$root/build/prove/fuzz
targets=()
for source in tests/fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done

# run_target NAME: runs a fuzzer until its first finding, whose input it leaves in the target's folder. The last line of its log
# is "tally: EXECUTIONS FINDINGS".
#
# Leaks are looked for only at the end: after each input that would take most of the time, as would libFuzzer's entropic schedule.
run_target() {
  local folder=$out/$1 executions findings=0
  mkdir -p "$folder/corpus"
  cd "$folder"
  "$root/build/host-asan/tests/fuzz/$1" -max_total_time="$seconds" -max_len=4096 -timeout=60 -print_final_stats=1 \
    -detect_leaks=0 -entropic=0 \
    corpus "$root/tests/fuzz/corpus/${1#fuzz_}" >log 2>&1 || findings=1
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' log | tail -n 1)
  echo "tally: ${executions:-0} $findings" >>log
  [ "$findings" = 0 ] || { echo "fuzz: a finding of $1:"; tail -n 60 log; }
}

# reached: prints "LINES BRANCHES", the percentages that the corpora in tests/fuzz reach.
reached() {
  local target objects=()
  mkdir -p "$out/coverage"
  for target in "${targets[@]}"; do
    LLVM_PROFILE_FILE=$out/coverage/$target.profraw "build/fuzz-coverage/tests/fuzz/$target" \
      tests/fuzz/corpus/"${target#fuzz_}"/* >"$out/coverage/$target.log" 2>&1
    objects+=(-object "build/fuzz-coverage/tests/fuzz/$target")
  done
  llvm-profdata-14 merge -sparse -o "$out/coverage/all.profdata" "$out"/coverage/*.profraw
  llvm-cov-14 export -summary-only -instr-profile="$out/coverage/all.profdata" "${objects[@]}" 2>/dev/null >"$out/coverage/summary.json"
  python3 tests/prove/coverage.py "$out/coverage/summary.json" "$root/src" dialogs ui
}

build host-asan "${targets[@]}"
build fuzz-coverage "${targets[@]}"
export -f run_target
export root out seconds
printf '%s\n' "${targets[@]}" | xargs -P 2 -I '{}' bash -c 'run_target {}'
logs=("${targets[@]/#/$out/}")
add_up "${logs[@]/%//log}"
read -r lines branches <<<"$(reached)"
[ -n "$branches" ] || { echo "fuzz: the coverage of the corpora is unknown" >&2; exit 1; }
finish "$runs" "$findings" "${#targets[@]} targets, $seconds s each under the sanitizers, two at a time: no crash, leak or hang, and no \
difference from the models; the corpora reach $lines % of the lines and $branches % of the branches of src without the dialogs"
