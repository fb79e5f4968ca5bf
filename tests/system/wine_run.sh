#!/bin/bash
# wine_run.sh SOURCE BUILD: wine-run starts a program once more when it exits with 1 without having written to its
# output files, and never otherwise.
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
echo "only an end with 1 and without a word is repeated"
