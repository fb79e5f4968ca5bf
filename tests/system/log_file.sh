#!/bin/bash
# log_file.sh SYSTEM LOG_WRITER LOAD_LIBRARY PROVIDER -- RUN...
# The log of whole processes: no file while it is off, one start line per process, and no line lost when two processes
# append at once.
set -eu
system=$1 writer=$2 loader=$3 provider=$4
shift 5
run_command=("$@")
folder=$(mktemp -d)
trap 'set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
fail() { echo "FAILED: $*"; [ -f "$log" ] && head -c 2000 "$log"; exit 1; }

starts() { grep -c 'LOG START' "$log" || true; }
lines() { grep -c "^$1 [0-9]* .\{0,1\}$" "$log" || true; }

set_log off
"${run_command[@]}" "$loader" "$provider" || fail "the provider cannot be loaded"
"${run_command[@]}" "$writer" 3 quiet
[ ! -e "$log" ] || fail "a file was created with logging off"

set_log on
"${run_command[@]}" "$loader" "$provider" || fail "the provider cannot be loaded with logging on"
[ "$(starts)" = 1 ] || fail "not one start line after the first process"
announced=$'CCSPSecretKeyFactory Ctor - Enter   \nCCSPSecretKeyFactory Ctor - Exit   '
[ "$(sed -n 5,6p "$log" | tr -d '\r')" = "$announced" ] || fail "the session key factory does not follow the start line"
"${run_command[@]}" "$loader" "$provider"
[ "$(starts)" = 2 ] || fail "the second process did not add its start line"
grep -q '~Cryptoki' "$log" && fail "the provider made a module object without being asked"

count=400
"${run_command[@]}" "$writer" $count first &
first=$!
"${run_command[@]}" "$writer" $count second
wait $first
[ "$(starts)" = 4 ] || fail "$(starts) start lines instead of 4"
[ "$(lines first)" = $count ] || fail "$(lines first) of $count lines of the first process"
[ "$(lines second)" = $count ] || fail "$(lines second) of $count lines of the second process"
# Under Wine this would take a minute; the limits themselves are tested there, too.
if [ "$system" != Windows ]; then
  "${run_command[@]}" "$writer" 200005 many
  [ "$(lines many)" = 200000 ] || fail "$(lines many) lines of an object that falls silent after 200000"
fi
echo "two processes wrote $count lines each into one file, none lost"
