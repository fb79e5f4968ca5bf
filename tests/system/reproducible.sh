#!/bin/bash
# reproducible.sh SOURCES PACKAGED: the sources, copied elsewhere and built there without a cache, give the same files as those in
# PACKAGED, which packaging/package.sh made.
set -eu
sources=$1 packaged=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
tree="$folder/another place for the sources"
mkdir "$tree"
(cd "$sources" && tar -cf - --exclude=./build --exclude=./.git .) | tar -C "$tree" -xf -

cd "$tree"
export CCACHE_DISABLE=1
{ cmake --preset windows && cmake --build --preset windows --target installer; } >"$folder/output" 2>&1 ||
  { tail -n 30 "$folder/output"; echo "FAILED: the copy cannot be built"; exit 1; }
for file in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll telvocsp-setup.exe; do
  cmp "$packaged/$file" "build/windows/packaging/files/$file" || { echo "FAILED: $file differs"; exit 1; }
done
