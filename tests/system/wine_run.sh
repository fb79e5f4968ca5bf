#!/bin/bash
# wine_run.sh SOURCE BUILD: wine-run passes on the exit code and the input, gives a program no random addresses, and never starts one
# twice. wine-up records each start of a server.
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

# has_fixed_addresses PROCESS: whether its addresses are fixed. Waits up to 20 s until Wine runs in it.
has_fixed_addresses() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    [[ "$(readlink "/proc/$1/exe")" != */wine64 ]] || break
    sleep 0.1
  done
  [ $((0x$(cat "/proc/$1/personality") & 0x40000)) != 0 ]
}
mkfifo stay
"${run[@]}" cmd <stay >out 2>err &
waiting=$!
exec 3>stay
if [ ! -r /proc/self/personality ] || ! setarch -R true; then
  echo "not tested: fixed addresses, because this system forbids them, or hides whether they are fixed"
elif ! has_fixed_addresses $waiting; then
  echo "FAILED: the addresses of a program are random, so that one in some thousands does not start"
  exit 1
fi
exec 3>&-
wait $waiting || true

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
