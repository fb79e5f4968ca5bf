#!/bin/bash
# wine_run.sh SOURCE BUILD: wine-run starts a program once, however it ends, and passes on its exit code, input and output.
# wine-up records each start of a server.
set -eu
run=("$1/cmake/wine-run" "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# A program that failed is not repeated, whether it wrote something or not.
for command in 'exit 1' 'exit 2' 'echo a word&exit 1'; do
  rm -f starts.txt
  "${run[@]}" cmd /c "echo started>>starts.txt&$command" >out 2>err </dev/null && { echo "FAILED: \"$command\" ends with 0" >&2; exit 1; }
  [ "$(wc -l <starts.txt)" = 1 ] || { echo "FAILED: $(wc -l <starts.txt) starts instead of 1: $command" >&2; exit 1; }
done
code=0
"${run[@]}" cmd /c 'exit 7' || code=$?
[ $code = 7 ] || { echo "FAILED: the exit code 7 becomes $code"; exit 1; }
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
echo "each program was started once, and both servers were recorded"
