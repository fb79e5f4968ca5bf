#!/bin/bash
# open_pipes.sh SOURCE BUILD: the Wine server, its services and the screen hold no pipe of the program that had them
# started. Whoever reads such a pipe to its end, as ninja does, would wait for them.
set -eu
start=$1/cmake
folder=$(mktemp -d)
trap '"$start/wine-down" "$folder/server"; "$start/display-down" "$folder/screen"; rm -rf "$folder"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

# reaches_its_end COMMAND...: the command has a pipe under three numbers, as output as well, and whoever reads it gets to
# its end although what the command started keeps running.
reaches_its_end() { "$@" 7>&1 42>&1 2>&1 | timeout 60 cat >"$folder/output"; }

"$start/wine-run" "$2" cmd /c exit  # makes the prefix when there is none
mkdir "$folder/server"
# The build folder's server may be saving its registry: it writes such a file under another name first.
tar -C "$2" -c --exclude='reg*.tmp' wineprefix | tar -C "$folder/server" -x

reaches_its_end "$start/display-up" "$folder/screen" || fail "the screen holds a pipe open"
screen=$(cat "$folder/screen/display.pid")
[ "$(cat "/proc/$screen/comm")" = Xvfb ] || fail "the screen does not run"

reaches_its_end "$start/wine-up" "$folder/server" || fail "the Wine server or one of its services holds a pipe open"
# 2: a server runs already.
WINEPREFIX=$folder/server/wineprefix wineserver -p && fail "the Wine server does not run" || [ $? = 2 ]
echo "nothing that keeps running holds a pipe of its caller"
