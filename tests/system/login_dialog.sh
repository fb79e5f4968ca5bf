#!/bin/bash
# login_dialog.sh SYSTEM LOGIN_DIALOG SOFTTOKEN -- RUN...
# The PIN dialogs on a software token: each test of the program with its own card, and one without a screen.
set -eu
program=$2 softtoken=$3
shift 4
folder=$(mktemp -d)
trap 'rm -f "$folder/hold"; wait; rm -rf "$folder"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

cat >"$folder/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A
label = Anna's card
serial = 0123456789ABCDEF
pin = 123456
tries = 3
CONF
export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
cp "$program" "$softtoken" "$folder"
program=$folder/$(basename "$program")

# run_test NAME ARGUMENT...
run_test() {
  local name=$1
  shift
  rm -rf "$folder/state"
  "$@" "$program" "--gtest_filter=$name" >"$folder/output" 2>&1 ||
    { cat "$folder/output"; fail "$name"; }
  grep -q 'PASSED.* 1 test' "$folder/output" || { cat "$folder/output"; fail "$name did not run"; }
  echo "passed: $name"
}

# All tests except the pictures and the test without a screen. A suite is at the beginning of a line, its tests after
# spaces.
tests=$("$@" "$program" --gtest_list_tests '--gtest_filter=-*Picture.*:NoScreenTest.*' | tr -d '\r' |
  awk '/^[A-Z]/ {suite = $1} /^  / {print suite $1}')
count=$(echo "$tests" | wc -l)
[ "$count" -ge 20 ] || fail "the program lists $count tests"
for name in $tests; do run_test "$name" "$@"; done

run_test NoScreenTest.TheResultIsMinusOne env TELVO_DISPLAY=none TELVO_PREFIX=screenless "$@"
