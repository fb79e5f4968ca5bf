#!/bin/bash
# watch_card.sh SYSTEM WATCH_CARD WINSCARD_FOLDER -- RUN...
# Real readers and cards that are really pulled: a PIN is forgotten when its card is pulled, once, and not
# before. WINSCARD_FOLDER holds winscard.dll and pcscbridge.dll, on Windows.
set -eu
system=$1 program=$2 winscard=$3
shift 4
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
. "$(dirname "$0")/readers.sh"

# ask COMMAND: the program's answer
ask() {
  local answer
  echo "$1" >&"$watcher_in"
  read -r -t 20 answer <&"$watcher_out" || fail "no answer to $1"
  echo "${answer%$'\r'}"
}

readers_up "$folder" || exit 1
card insert A
card insert B
cp "$program" "$folder"
if [ "$system" = Windows ]; then use_winscard "$folder" "$winscard"; fi
set_log on
sleep 1  # until the service has seen the cards
start_talk watcher "${run_command[@]}" "$folder/$(basename "$program")" 'TELVO Reader A 00 00' 'TELVO Reader B 00 00'

# vpcd adds a second reader to each of ours.
readers='TELVO Reader A 00 00|TELVO Reader A 00 01|TELVO Reader B 00 00|TELVO Reader B 00 01|'
[ "$(ask readers)" = "$readers" ] || fail "the readers are not listed"

[ "$(ask login)" = held ] || fail "the PIN is not held"
[ "$(ask watch)" = watching ]
[ "$(ask watch)" = watching ]
[ "$(lines 'Running new thread')" = 2 ] || fail "not one thread a reader was started"
[ "$(lines 'A thread for this reader is already running')" = 2 ] || fail "further threads were not refused"
sleep 1
[ "$(ask pin)" = held ] || fail "the PIN is lost while the card is in"
[ "$(lines 'Card was removed')" = 0 ] || fail "a removal is reported while the cards are in"

# Both threads wait in one context; the second reader's card is noticed while the first one's thread waits.
card remove B
await_lines 1 'Card was removed'
sleep 1
[ "$(ask pin)" = held ] || fail "the PIN is lost with the other reader's card"
[ "$(lines 'Clearing PIN Cache')" = 0 ] || fail "a PIN was cleared for a card without one"

card remove A
await_lines 1 'Clearing PIN Cache'
[ "$(ask pin)" = none ] || fail "the PIN outlives the card"
card insert A
sleep 1
[ "$(ask login)" = held ]
sleep 1
[ "$(ask pin)" = held ] || fail "the PIN is lost after the card was put back"
[ "$(lines 'Card was removed')" = 2 ] || fail "two removals are reported $(lines 'Card was removed') times"

card remove A
await_lines 2 'Clearing PIN Cache'
[ "$(ask pin)" = none ] || fail "the PIN outlives the second removal"
[ "$(lines 'Card was removed')" = 3 ] || fail "the third removal is not reported once"
[ "$(lines 'Reader was unplugged')" = 0 ] || fail "a wait failed"

card insert A
sleep 1
[ "$(ask login)" = held ]
readers_down
await_lines 1 'SCardGetStatusChange: '
[ "$(ask pin)" = held ] || fail "the PIN is lost with the service"

started=$(date +%s%N)
exec {watcher_in}>&-
wait "$watcher_pid" || fail "the program ends with an error"
took=$((($(date +%s%N) - started) / 1000000))
[ "$took" -lt 3000 ] || fail "the program takes $took ms to end"
[ "$(lines 'Unplug Thread deleted')" = 2 ] || fail "the threads were not deleted"
echo "the PIN went with its card twice; the program ended within $took ms"
