#!/bin/bash
# test_script.sh SOURCE: scripts/test on a small tree: what makes a run green, and what does not.
set -eu
source=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAILED: $*"; cat "$tree/said"; exit 1; }
mkdir "$tree/scripts"
cp "$source/scripts/test" "$tree/scripts"
cp "$source/scripts/passed-tests" "$tree/scripts/choose-tests.py"
cd "$tree"
printf 'build\nsaid\n' >.gitignore
git init -q .

cat >CMakePresets.json <<'PRESETS'
{
  "version": 5,
  "configurePresets": [{ "name": "one", "generator": "Ninja", "binaryDir": "${sourceDir}/build/one" }],
  "buildPresets": [{ "name": "one", "configurePreset": "one" }],
  "testPresets": [{ "name": "one", "configurePreset": "one", "output": { "outputOnFailure": true } }]
}
PRESETS
cat >begin <<'LISTS'
cmake_minimum_required(VERSION 3.24)
project(tree LANGUAGES NONE)
enable_testing()
file(TOUCH ${CMAKE_BINARY_DIR}/compile_commands.json)
LISTS
two_tests='add_test(NAME a COMMAND ${CMAKE_COMMAND} -E true)
add_test(NAME b COMMAND ${CMAKE_COMMAND} -E true)'
printf '#!/bin/sh\ntrue\n' >scripts/setup
# Other programs may write into the output of passed-tests.
printf '#!/bin/sh\necho "a word of another program"\nexec python3 "$(dirname "$0")/choose-tests.py" "$@"\n' >scripts/passed-tests
chmod +x scripts/setup scripts/passed-tests

# run CODE TEXT LISTS: with these lines of CMake, scripts/test must end with CODE, and say TEXT.
run() {
  local code=0
  printf '%s\n' "$(cat begin)" "$3" >CMakeLists.txt
  scripts/test one >said 2>&1 || code=$?
  [ $code = "$1" ] || fail "it ended with $code instead of $1"
  grep -qF "$2" said || fail "it did not say \"$2\""
}

run 0 "all green: 2 tests" "$two_tests"
run 0 "not run: 2 tests for which nothing has changed" "$two_tests"
run 1 "NOT green: 1 of 3 tests failed; failed steps: tests of one" "$two_tests
add_test(NAME c COMMAND \${CMAKE_COMMAND} -E false)"
run 1 "NOT green: 0 of 0 tests failed; failed steps: build of one" "$two_tests
add_custom_target(broken ALL COMMAND \${CMAKE_COMMAND} -E false)"
run 1 "NOT green: 0 of 0 tests failed" ""

# A list of tests that CTest does not find.
printf '#!/bin/sh\necho "0 7,8"\n' >scripts/passed-tests
run 1 "failed steps: tests of one" "$two_tests"
echo "ok: test_script"
