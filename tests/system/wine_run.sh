#!/bin/bash
# wine_run.sh SOURCE BUILD: wine-run starts a program once more when it exits with 1 without having written to its
# output files, and never otherwise. wine-up records each start of a server.
set -eu
run=("$1/cmake/wine-run" "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# starts COUNT COMMAND...: runs the command, and expects COUNT starts of its program.
starts() {
  local wanted=$1
  shift
  rm -f starts.txt
  "$@" || true
  [ "$(wc -l <starts.txt)" = "$wanted" ] || { echo "FAILED: $(wc -l <starts.txt) starts instead of $wanted: $*" >&2; exit 1; }
}
into_files() { "$@" >out 2>err </dev/null; }
into_a_pipe() { "$@" 2>&1 </dev/null | cat; }
program() { "${run[@]}" cmd /c "echo started>>starts.txt&$1"; }

starts 2 into_files program 'exit 1'
tail -n 1 "$2/wordless" | grep -qF 'exit 1' || { echo "FAILED: $2/wordless does not name the program"; exit 1; }
starts 1 into_files program 'exit 0'
starts 1 into_files program 'exit 2'
starts 1 into_files program 'echo a word&exit 1'
starts 1 into_files program 'echo a word>&2&exit 1'
starts 1 into_a_pipe program 'exit 1'
code=0
into_files program 'exit 7' || code=$?
[ $code = 7 ] || { echo "FAILED: the exit code 7 becomes $code"; exit 1; }
echo "some input" >in
"${run[@]}" cmd /c 'set /p word=& call echo %^word%' <in >out 2>err
grep -qF 'some input' out || { echo "FAILED: the program does not get its input"; exit 1; }
sed -i '$d' "$2/wordless"  # it is only for unexpected cases

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
echo "only a program that ended with 1 without output was repeated, and both servers were recorded"
