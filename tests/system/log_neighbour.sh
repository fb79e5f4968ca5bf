#!/bin/bash
# log_neighbour.sh SYSTEM LOG_NEIGHBOUR -- RUN...
# Two processes with one log, of which one hangs with the log's lock and then is killed with it: the other goes on.
set -eu
system=$1 program=$2
shift 3
run_command=("$@")
folder=$(mktemp -d)
trap 'set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
. "$(dirname "$0")/readers.sh"  # start_talk

# ask NAME COMMAND: tells a process what to do, and sets `answer`
ask() {
  local in=$1_in out=$1_out
  echo "$2" >&"${!in}"
  read -r -t 60 answer <&"${!out}" || fail "$1 does not answer '$2'"
  answer=${answer%$'\r'}
}
expect() { [ "$answer" = "$1" ] || fail "'$answer' instead of '$1'"; }

set_log on
start_talk first "${run_command[@]}" "$program"
start_talk second "${run_command[@]}" "$program"
ask second 'write one'
expect 'with the lock'
ask first 'hold two'
expect 'holding'

# The host build's lock is of one process; there the system appends each item in one piece.
ask second 'write three'
if [ "$system" = Windows ]; then
  waited=${answer#without the lock }
  [ "$waited" -ge 90 ] && [ "$waited" -lt 1000 ] || fail "an item took '$answer' ms while another process hung"
else
  expect 'with the lock'
fi
ask first 'go on'
expect 'with the lock'
ask second 'write four'
expect 'with the lock'

echo 'die five' >&"$first_in"
wait "$first_pid" && fail "the process was not killed"
ask second 'write six'
expect 'with the lock'
start_talk third "${run_command[@]}" "$program"
ask third 'write seven'
expect 'with the lock'

wanted=$'one   \ntwo   \nthree   \nfour   \nfive   \nsix   \nseven   '
items=$(tr -d '\r' <"$log" | grep -xE '(one|two|three|four|five|six|seven) {3}')
[ "$items" = "$wanted" ] || fail "not each item once, whole and in its turn"
echo "a process that hung held the other up for ${waited:-0} ms an item; one that was killed, not at all"
