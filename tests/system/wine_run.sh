#!/bin/bash
# wine_run.sh SOURCE BUILD: wine-run passes on the exit code and the input, and never starts a program twice. wine-up records each
# start of a server.
set -eu
run=("$1/cmake/wine-run" "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

code=0
"${run[@]}" cmd /c 'echo started>>starts.txt&exit 1' >out 2>err </dev/null || code=$?
[ $code = 1 ] || { echo "FAILED: the exit code 1 becomes $code"; exit 1; }
[ "$(wc -l <starts.txt)" = 1 ] || { echo "FAILED: $(wc -l <starts.txt) starts of a program that fails without output"; exit 1; }
echo "some input" >in
"${run[@]}" cmd /c 'set /p word=& call echo %^word%' <in >out 2>err
grep -qF 'some input' out || { echo "FAILED: the program does not get its input"; exit 1; }

# A server that ends by itself shows as a second start. This one has its own prefix, so that no other test loses its server.
export TELVO_PREFIX=ended
place=$2/prefixes/ended
"${run[@]}" cmd /c exit
WINEPREFIX=$place/wineprefix wineserver -k9 && WINEPREFIX=$place/wineprefix wineserver -w
"${run[@]}" cmd /c exit
[ "$(wc -l <"$place/server-starts")" = 2 ] || { echo "FAILED: $place/server-starts does not have two lines"; exit 1; }
WINEPREFIX=$place/wineprefix wineserver -k
"$1/cmake/display-down" "$place"
rm -rf "$place"
echo "a program that failed was started once, and both servers were recorded"
