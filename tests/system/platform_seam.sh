#!/bin/sh
# platform_seam.sh SOURCE: the table of docs/architecture.md names exactly the functions that posix/include declares.
set -eu
source=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# A declaration begins with one word, the type of the result.
grep -ohE '^[A-Za-z_]+\*? [A-Z][A-Za-z]+\(' "$source"/posix/include/*.h | sed 's/.* //; s/(//' | sort >"$folder/declared"
sed -n '/^| subject | functions |/,/^$/p' "$source/docs/architecture.md" | cut -d '|' -f 3 | grep -oE '[A-Z][A-Za-z]+' |
  sort >"$folder/named"
[ -s "$folder/declared" ] || { echo "FAILED: no declarations are found"; exit 1; }
if ! diff "$folder/declared" "$folder/named"; then
  echo "FAILED: a declared function is not in the table (<), or the table names one that is not declared (>)"
  exit 1
fi
