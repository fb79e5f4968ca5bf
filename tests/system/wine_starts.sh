#!/bin/bash
# wine_starts.sh BUILD COUNT [KIND...]: starts programs COUNT times each under Wine, the kinds at the same time, each in its own prefix
# of BUILD. The kinds: nothing (a program that does nothing), unit (a unit test), window (a test of a window). Without KIND, all three.
#
# Prints each start that ended otherwise than it should, with its exit code and output; 124 is a start that took more than a minute.
# Fails if there was one, or if a Wine server ended by itself. It is run by hand: 20,000 starts of each kind take some hours.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
count=$2
kinds=("${@:3}")
[ ${#kinds[@]} -gt 0 ] || kinds=(nothing unit window)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export TELVO_PREFIX

# starts KIND WANTED PROGRAM...: the output of each start must contain WANTED.
starts() {
  local kind=$1 wanted=$2 number output code
  shift 2
  TELVO_PREFIX=starts-$kind
  for ((number = 1; number <= count; ++number)); do
    code=0
    output=$(timeout 60 "$here/../../cmake/wine-run" "$build" "$@" 2>&1 </dev/null) || code=$?
    if [ $code != 0 ] || [[ "$output" != *"$wanted"* ]]; then
      echo "$(date +%T) $kind, start $number: code $code, output: $output" | tee -a "$folder/wrong"
    fi
    [ $((number % 1000)) != 0 ] || echo "$(date +%T) $kind: $number starts"
  done
}
start_nothing() { starts nothing '' "$folder/nothing.exe"; }
start_unit() { starts unit '[  PASSED  ] 1 test.' "$build/tests/unit/unit_tests.exe" --gtest_filter=SessionTest.GenerateKeyPairReadsBothKeys; }
start_window() { starts window '[  PASSED  ] 1 test.' "$build/tests/windows/window_tests.exe" --gtest_filter=DialogWindowTest.EnterClicksTheDefaultButton; }

# end_prefix KIND
end_prefix() {
  local place=$build/prefixes/starts-$1
  [ "$(wc -l <"$place/server-starts")" = 1 ] ||
    echo "the server of $1 was started at $(paste -sd' ' "$place/server-starts")" | tee -a "$folder/wrong"
  WINEPREFIX=$place/wineprefix wineserver -k || true
  "$here/../../cmake/display-down" "$place"
  rm -rf "$place"
}

echo 'int main() { return 0; }' >"$folder/nothing.cpp"
x86_64-w64-mingw32-g++-posix -static -o "$folder/nothing.exe" "$folder/nothing.cpp"
running=()
for kind in "${kinds[@]}"; do
  "start_$kind" &
  running+=($!)
done
wait "${running[@]}"
for kind in "${kinds[@]}"; do end_prefix "$kind"; done
[ ! -e "$folder/wrong" ] || { echo "FAILED: $(wc -l <"$folder/wrong") lines of starts that went wrong"; exit 1; }
echo "$count starts of each: ${kinds[*]}; none went wrong"
