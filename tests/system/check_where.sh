#!/bin/bash
# check_where.sh SOURCE: scripts/check-where on the real sources, and on a small test tree with one fault at a time.
set -eu
source=$1
check=$source/scripts/check-where
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAILED: $*"; cat "$tree/output"; exit 1; }

# write FILE: writes its input to FILE
write() { mkdir -p "$(dirname "$tree/$1")" && cat >"$tree/$1"; }

good_tree() {
  rm -rf "$tree"
  write src/Door.cpp <<<'int Door::Open(int kWidth) { return kWidth; }'
  write src/Door.h <<<'struct Door;'
  write tests/unit/DoorTest.cpp <<'TESTS'
TEST(DoorTest, Opens) {}
  TEST_F(DoorTest, Closes) {}
TEST_P(EachDoorTest, IsLocked) {}
// TEST(DoorTest, Vanishes) {}
TESTS
  write tests/system/doors.sh <<<'echo "two doors"'
  write docs/where.md <<'TABLES'
# Where it is decided

A `name/outside` of a table does not count.

| behaviour | decided in | held by |
|---|---|---|
| opens | `src/Door.cpp` `Door::Open`, `kWidth` | `DoorTest.Opens`, `DoorTest.Closes` |
| a \| b | `src/Door.h` `Door`, `src/Door.cpp` `Open` | `tests/system/doors.sh` "two doors", `EachDoorTest.IsLocked` |

## More

| behaviour | decided in | held by |
|---|---|---|
| locks | `src/Door.h` | `tests/system/doors.sh` |
TABLES
}

# refuses WHAT LINE [SED]: the tree, with the document changed by the sed script, is refused with exactly this line.
refuses() {
  [ $# -eq 2 ] || sed -i "$3" "$tree/docs/where.md"
  if "$check" "$tree" >"$tree/output" 2>&1; then fail "$1 passed"; fi
  printf '%s\n' "docs/where.md:$2" 'check-where: 1 problems' | cmp -s - "$tree/output" || fail "$1: not exactly the line '$2'"
  good_tree
}

mkdir -p "$tree"
"$check" "$source" >"$tree/output" 2>&1 || fail "the sources as they are"

good_tree
"$check" "$tree" >"$tree/output" 2>&1 || fail "a good tree"
[ "$(cat "$tree/output")" = 'check-where: 3 rows, 4 places and 5 tests exist' ] || fail "other numbers"

refuses "a file that is gone" '14: there is no file src/Gate.h' '14s/Door.h/Gate.h/'
refuses "a function that is gone" '7: Door::Close is not in src/Door.cpp' 's/Door::Open/Door::Close/'
refuses "a part of a word" '7: Wid is not in src/Door.cpp' 's/kWidth/Wid/'
refuses "a function of another file" '8: kWidth is not in src/Door.h' '8s/`Door`/`kWidth`/'
refuses "a function without a file" '14: Open is not in a file before it' '14s#`src#`Open` `src#'
refuses "a test that is gone" '7: there is no test DoorTest.Jams' 's/DoorTest.Opens/DoorTest.Jams/'
refuses "a test of another suite" '7: there is no test EachDoorTest.Opens' 's/DoorTest.Opens/EachDoorTest.Opens/'
refuses "a test that is a comment" '7: there is no test DoorTest.Vanishes' 's/DoorTest.Opens/DoorTest.Vanishes/'
refuses "a heading that is gone" '8: "three doors" is not in tests/system/doors.sh' 's/two doors/three doors/'
refuses "a script that is gone" '14: there is no file tests/system/gates.sh below tests/' '14s/doors.sh/gates.sh/'
refuses "a source as a test" '14: there is no file src/Door.cpp below tests/' '14s#tests/system/doors.sh#src/Door.cpp#'
refuses "a row of two cells" '14: the row has 2 cells, and not 3' '14s/| locks //'
refuses "a row of four cells" '14: the row has 4 cells, and not 3' '14s/$/ more |/'
refuses "a row without a file" '14: the row names no file' '14s/`src[^|]*|/the door |/'
refuses "a row without a test" '14: the row names no test' '14s/`tests.*`/nobody/'

rm "$tree/tests/unit/DoorTest.cpp"
if "$check" "$tree" >"$tree/output" 2>&1; then fail "a tree without tests passed"; fi
[ "$(grep -c 'there is no test' "$tree/output")" = 3 ] || fail "not every missing test is reported"
echo '# Nothing' >"$tree/docs/where.md"
if "$check" "$tree" >"$tree/output" 2>&1; then fail "a document without a row passed"; fi
grep -qxF 'check-where: docs/where.md has no row' "$tree/output" || fail "a document without a row"
echo "names that do not exist are found"
