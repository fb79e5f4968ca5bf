#!/bin/bash
# load_cycles.sh SYSTEM LOAD_CYCLES SOFTTOKEN PROVIDER WINSCARD_FOLDER CYCLES PROCESSES -- RUN...
# Loads and unloads the library, with watchers running on two real readers: no hang, no failure, no significant growth.
# PROCESSES processes do this in parallel, each with CYCLES cycles and its own software tokens.
set -eu
system=$1 program=$2 softtoken=$3 library=$4 winscard=$5 cycles=$6 processes=$7
shift 8
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/readers.sh"
fail() { echo "FAILED: $*"; exit 1; }

readers_up "$folder" || exit 1
card insert A
card insert B

# prepare FOLDER
prepare() {
  mkdir "$1"
  stage_library "$1" "$system" "$program" "$softtoken" "$library" "$winscard"
  token_in_readers "$1" '' A B
}

# used FOLDER: the kilobytes of memory that its process wrote itself, as Linux counts them.
used() {
  local process
  process=$(pgrep -f "$(basename "$folder").$(basename "$1").load_cycles" | head -n 1)
  sed -n 's/^RssAnon:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$process/status"
}
# await TEXT: waits until the program prints TEXT. Each unloading waits for two pauses of watchers, at most a fifth of a
# second each.
await() {
  local line
  read -r -t $((30 + 3 * cycles)) line <&"$loader_out" || fail "timed out waiting for $1"
  [ "${line%$'\r'}" = "$1" ] || fail "$line"
}

# growth FOLDER ARGUMENT...: runs the program with these arguments. `grown` is its growth from a tenth of the cycles, or
# the hundredth, to the end.
growth() {
  local place=$1 before
  shift
  export TELVO_SOFTTOKEN_CONF=$place/token.conf
  start_talk loader "${run_command[@]}" "$place/$(basename "$program")" "$cycles" "$@"
  await begun
  before=$(used "$place")
  echo >&"$loader_in"
  await done
  grown=$(($(used "$place") - before))
  echo >&"$loader_in"
  wait "$loader_pid"
}

# cycle_library FOLDER: the cycles of one process.
cycle_library() {
  growth "$1" "$provider" '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\'
  echo "$cycles cycles with two watchers: $grown KB more than after the first tenth, at most 100; terminated threads alone: $threads KB"
  [ "$grown" -le $((threads + first + per_cycle * cycles)) ] || fail "memory is left behind"
}

# Wine never frees the memory of a terminated thread, about a megabyte each. Only this may remain. The host frees it, so
# there a leak of the library itself shows.
if [ $system = Windows ]; then first=300 per_cycle=5; else first=150 per_cycle=0; fi
prepare "$folder/threads"
growth "$folder/threads" 2
threads=$grown
running=()
for ((number = 1; number <= processes; ++number)); do
  prepare "$folder/$number"
  cycle_library "$folder/$number" &
  running+=($!)
done
failed=0
for process in "${running[@]}"; do wait "$process" || failed=1; done
[ $failed = 0 ]
