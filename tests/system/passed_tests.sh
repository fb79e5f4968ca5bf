#!/bin/bash
# passed_tests.sh SOURCE: scripts/passed-tests on a small test tree: a test is chosen again when it failed, or when a
# file changed that it may read.
set -eu
source=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
mkdir -p "$tree"/{scripts,tests/data}
cp "$source/scripts/passed-tests" "$tree/scripts"
cd "$tree"
printf 'build\noutput\n' >.gitignore

# Four tests: a program, a script, a script that reads the sources, and one that fails.
cat >CMakeLists.txt <<'LISTS'
cmake_minimum_required(VERSION 3.24)
project(tree LANGUAGES CXX)
enable_testing()
add_library(library SHARED library.cpp)
add_executable(program program.cpp)
add_executable(tool tool.cpp)
add_test(NAME program COMMAND program)
add_test(NAME script COMMAND ${PROJECT_SOURCE_DIR}/script.sh)
add_test(NAME reader COMMAND ${PROJECT_SOURCE_DIR}/script.sh ${PROJECT_SOURCE_DIR})
add_test(NAME failing COMMAND ${CMAKE_COMMAND} -E false)
LISTS
printf '#!/bin/sh\ntrue\n' >script.sh
chmod +x script.sh
echo 'int F() { return 0; }' >library.cpp
echo 'int main() { return 0; }' | tee program.cpp >tool.cpp
echo one >tests/data/text
echo a change >CHANGELOG.md
git init -q .
cmake -S . -B build/one -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >output || { cat output; fail "the tree cannot be configured"; }

# chosen NUMBERS AFTER: after a build, the tests with these numbers must be chosen; then they run.
chosen() {
  local answer
  cmake --build build/one >output || { cat output; fail "$2: it cannot be built"; }
  answer=$(scripts/passed-tests one)
  [ "$answer" = "$((4 - $(tr -cd , <<<"$1," | wc -c))) $1" ] || fail "after $2: chosen is \"$answer\""
  ctest --test-dir build/one -I "0,0,0,${answer#* }" --output-junit "$tree/build/one/results.xml" >output 2>&1 || true
  scripts/passed-tests one --keep
}

chosen 1,2,3,4 "the first build"
chosen 4 "a run without changes"
echo 'int main() { return 1 - 1; } // another line' >tool.cpp
chosen 3,4 "a change of a source that leaves the program unchanged"
echo 'int main(int count, char**) { return count - 1; }' >program.cpp
chosen 1,3,4 "a change of the program"
echo 'int main(int count, char**) { return count - 1; }' >tool.cpp
chosen 2,3,4 "a change of a tool"
echo 'int F() { return 1; }' >library.cpp
chosen 1,2,3,4 "a change of the library"
echo two >tests/data/text
chosen 1,2,3,4 "a change of the tests' data"
echo another change >CHANGELOG.md
chosen 3,4 "a change of a document that only people read"
echo '# more' >>script.sh
chosen 2,3,4 "a change of a script"
sed -i 's/NAME program COMMAND program/& with_an_argument/' CMakeLists.txt
echo 'int main() { return 0; }' >program.cpp
chosen 1,2,3,4 "a change of a command"
sed -i 's/ -E false/ -E true/' CMakeLists.txt
chosen 2,3,4 "a repair"
[ "$(scripts/passed-tests one)" = "4 " ] || fail "a test is chosen although all passed"
[ "$(scripts/passed-tests one --all)" = "0 1,2,3,4" ] || fail "--all does not choose all"

# A program of test cases has a label, and another name until it is built.
echo 'set_tests_properties(script PROPERTIES LABELS cases)
add_test(NAME cases_NOT_BUILT COMMAND cases_NOT_BUILT)' >>CMakeLists.txt
cmake --build build/one >output || { cat output; fail "it cannot be built with labels"; }
[ "$(scripts/passed-tests one --all --without-cases)" = "0 1,3,4" ] || fail "--without-cases does not leave out the two tests with cases"
[ "$(scripts/passed-tests one --without-cases)" = "1 3,4" ] || fail "--without-cases does not count or choose only the others"

echo 'set_tests_properties(failing PROPERTIES DISABLED ON)' >>CMakeLists.txt
cmake --build build/one >output || { cat output; fail "it cannot be built with a disabled test"; }
[ "$(scripts/passed-tests one --all)" = "0 1,2,3,5" ] || fail "a disabled test is chosen"
echo "ok: passed_tests"
