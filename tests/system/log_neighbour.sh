#!/bin/bash
# log_neighbour.sh SYSTEM LOG_NEIGHBOUR -- RUN...
# Two processes share a log. One hangs while it has the log's lock, and is later killed with it. The other goes on.
set -eu
system=$1 program=$2
shift 3
run_command=("$@")
folder=$(mktemp -d)
trap 'set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
. "$(dirname "$0")/readers.sh"  # start_talk

# ask NAME COMMAND: sends a command to a process, and sets `answer`
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

# In the host build the lock works within one process only. Items of two processes stay whole there because the system appends
# each in one piece.
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
[ "$items" = "$wanted" ] || fail "not every item once, whole and in order"
echo "a process that hung held the other up for ${waited:-0} ms an item; one that was killed, not at all"
