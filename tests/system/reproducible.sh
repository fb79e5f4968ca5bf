#!/bin/bash
# reproducible.sh SOURCES PACKAGED FOLDER: the sources, copied to FOLDER and built there, produce the same files as
# those in PACKAGED, which packaging/package.sh made, and the same programs with their symbols. FOLDER is the same each
# time, so that the compiler cache can reuse what was compiled there before. Results from other folders are not reused.
set -eu
sources=$1 packaged=$2 folder=$3
tree="$folder/another place for the sources"
rm -rf "$folder"
mkdir -p "$tree"
(cd "$sources" && tar -cf - --exclude=./build --exclude=./.git .) | tar -C "$tree" -xf -

cd "$tree"
unset CCACHE_BASEDIR CCACHE_NOHASHDIR
{ cmake --preset windows && cmake --build --preset windows --target installer; } >"$folder/output" 2>&1 ||
  { tail -n 30 "$folder/output"; echo "FAILED: the copy cannot be built"; exit 1; }
for file in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll telvocsp-setup.exe; do
  cmp "$packaged/$file" "build/windows/packaging/files/$file" || { echo "FAILED: $file differs"; exit 1; }
done
for program in telvocsp.dll telvotool.exe adapter/telvopkcs11.dll; do
  cmp "$packaged/../../$program" "build/windows/$program" || { echo "FAILED: the symbols of $program differ"; exit 1; }
done
