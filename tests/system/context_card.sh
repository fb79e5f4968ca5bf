#!/bin/bash
# context_card.sh SYSTEM CONTEXT_CARD SOFTTOKEN PROVIDER WINSCARD_FOLDER -- RUN...
# Contexts on a real reader with a software token in it, while its card is pulled and put back: the PIN is forgotten
# with the card, and the contexts get no notice. First the program's own contexts, then contexts of the provider's
# library.
set -eu
system=$1 program=$2 softtoken=$3 provider=$4 winscard=$5
shift 6
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
. "$(dirname "$0")/readers.sh"

# expect ANSWER COMMAND
expect() {
  local answer
  echo "$2" >&"$contexts_in"
  read -r -t 20 answer <&"$contexts_out" || fail "no answer to $2"
  [ "${answer%$'\r'}" = "$1" ] || fail "$2: ${answer%$'\r'} instead of $1"
}
# logged COUNT TEXT: the log has exactly COUNT lines with TEXT
logged() { [ "$(lines "$2")" = "$1" ] || fail "'$2' is logged $(lines "$2") times instead of $1"; }
# Starts the program. Only log lines from here on count.
start() {
  log_start=$(($(stat -c %s "$log" 2>/dev/null || echo 0) + 1))
  start_talk contexts "${run_command[@]}" "$folder/$(basename "$program")" 'TELVO Reader A 00 00' "$provider"
}
stop() {
  eval "exec $contexts_in>&-"
  wait "$contexts_pid"
}

readers_up "$folder" || exit 1
card insert A
token_in_readers "$folder" $'pin = 123456\npresence = reader' A
stage_library "$folder" "$system" "$program" "$softtoken" "$provider" "$winscard"
set_log on
sleep 1  # until the service has seen the card

start
expect done acquire
expect 80090022 login
expect done 'pin 123456'
expect done login
sleep 1
logged 0 'Card was removed'
card remove A
await_lines 1 'Clearing PIN Cache'
expect 80090022 login
card insert A
sleep 1
logged 1 'Card was removed'
expect 80090022 login
expect done acquire
logged 1 'Running new thread'
logged 1 'A thread for this reader is already running'
expect done 'pin 123456'
expect done login
sleep 1
logged 1 'Card was removed'
stop

start
expect done library
expect done library
logged 1 'Running new thread'
logged 1 'A thread for this reader is already running'
sleep 1
card remove A
await_lines 1 'Card was removed'
logged 0 'Clearing PIN Cache'
card insert A
sleep 1
logged 1 'Card was removed'
expect done library
stop
echo "the PIN goes with the card, once; its return changes nothing"
