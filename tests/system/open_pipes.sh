#!/bin/bash
# open_pipes.sh SOURCE BUILD: the Wine server, its services and the screen keep no pipe open of the program that started
# them. A program that reads such a pipe to its end, as ninja does, would wait for them.
set -eu
start=$1/cmake
folder=$(mktemp -d)
trap '"$start/wine-down" "$folder/server"; "$start/display-down" "$folder/screen"; rm -rf "$folder"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

# reaches_its_end COMMAND...: the command has a pipe as its output and under two other numbers. The reader of the pipe
# reaches its end although the processes that the command started keep running.
reaches_its_end() { "$@" 7>&1 42>&1 2>&1 | timeout 60 cat >"$folder/output"; }

"$start/wine-run" "$2" cmd /c exit  # creates the prefix if there is none
mkdir "$folder/server"
# The build folder's server may be saving its registry, which it writes under such a name first.
tar -C "$2" -c --exclude='reg*.tmp' wineprefix | tar -C "$folder/server" -x

reaches_its_end "$start/display-up" "$folder/screen" || fail "the screen holds a pipe open"
screen=$(cat "$folder/screen/display.pid")
[ "$(cat "/proc/$screen/comm")" = Xvfb ] || fail "the screen does not run"

reaches_its_end "$start/wine-up" "$folder/server" || fail "the Wine server or one of its services holds a pipe open"
# 2: a server is already running.
WINEPREFIX=$folder/server/wineprefix wineserver -p && fail "the Wine server does not run" || [ $? = 2 ]
echo "nothing that keeps running holds a pipe of its caller"
