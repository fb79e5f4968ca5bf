#!/bin/bash
# check_includes.sh SOURCE: scripts/check-includes on a small test tree, without faults and with one fault at a time.
set -eu
check=$1/scripts/check-includes
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAILED: $*"; cat "$tree/output"; exit 1; }

# source_file FILE [INCLUDED]: a file with a comment and perhaps an include below it
source_file() {
  mkdir -p "$tree/$(dirname "$1")"
  { echo '// a file'; [ $# -eq 1 ] || echo "#include $2"; } >"$tree/$1"
}

# document: folders in layers, one above another
document() {
  mkdir -p "$tree/docs"
  cat >"$tree/docs/architecture.md" <<TABLE
| folder | what it holds | uses |
|---|---|---|
| \`src/low\` | what everybody needs | |
| \`src/middle\` | more | low |
| \`src/high\` | most | middle (its first half) |
| \`posix\` | the platform | |
| \`packaging\` | no sources | (what was built) |
TABLE
}

good_tree() {
  rm -rf "$tree"
  document
  source_file src/low/Low.h '<string>'
  source_file src/middle/Middle.h '"low/Low.h"'
  source_file src/high/part/High.cpp '"low/Low.h"'
  source_file posix/Platform.cpp '"Platform.h"'
  source_file posix/Platform.h
}

passes() { "$check" "$tree" >"$tree/output" 2>&1 || fail "$1"; }
refuses() {
  if "$check" "$tree" >"$tree/output" 2>&1; then fail "$1 passed"; fi
  grep -qxF -- "$2" "$tree/output" || fail "$1: missing line '$2'"
}

good_tree
passes "includes that run down, and one that leaves a folder out"

source_file src/low/Low.cpp '"middle/Middle.h"'
refuses "an include that runs up" \
  'src/low/Low.cpp:2: src/low includes "middle/Middle.h" of src/middle, which it does not use'

good_tree
source_file posix/Platform.cpp '"../src/low/Low.h"'
refuses "an include of a folder next to it, by its path" \
  'posix/Platform.cpp:2: posix includes "../src/low/Low.h" of src/low, which it does not use'

good_tree
source_file src/low/Low.h '<high/part/High.cpp>'
refuses "an include in angle brackets" \
  'src/low/Low.h:2: src/low includes "high/part/High.cpp" of src/high, which it does not use'

good_tree
source_file src/low/Low.cpp
source_file src/high/part/High.cpp '"low/Low.cpp"'
refuses "a source that is included" 'src/high/part/High.cpp:2: includes "low/Low.cpp", which is compiled by itself'

good_tree
source_file src/new/New.h
refuses "a folder without a row" 'src/new/New.h: its folder has no row in docs/architecture.md'

good_tree
sed -i 's/| what everybody needs | |/| what everybody needs | high |/' "$tree/docs/architecture.md"
refuses "a cycle in the table" \
  'check-includes: docs/architecture.md: src/low uses itself by way of others; the arrows must run one way'

rm -r "$tree/src" "$tree/posix"
document
refuses "a tree without sources" "check-includes: no include between folders in $(realpath "$tree")"
echo "includes that run up are found"
