#!/bin/bash
# load_cycles.sh LOAD_CYCLES PROVIDER SOFTTOKEN WINSCARD_FOLDER CYCLES PROCESSES -- RUN...
# The library comes and goes with watchers running on two real readers: no hang, no failure, no growth worth speaking of. So many
# processes do it side by side, each with so many cycles and software tokens of its own.
set -eu
program=$1 provider=$2 softtoken=$3 winscard=$4 cycles=$5 processes=$6
shift 7
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/../system/readers.sh"
fail() { echo "FAILED: $*"; exit 1; }

readers_up "$folder" || exit 1
card insert A
card insert B

# prepare FOLDER
prepare() {
  mkdir "$1"
  cp "$program" "$softtoken" "$1"
  use_winscard "$1" "$winscard"
  cat >"$1/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A 00 00
label = Card A
serial = A000000000000001
[slot]
reader = TELVO Reader B 00 00
label = Card B
serial = B000000000000002
CONF
}

# used FOLDER: kilobytes of memory that its process itself wrote, as Linux counts them.
used() {
  local process
  process=$(pgrep -f "$(basename "$folder").$(basename "$1").load_cycles" | head -n 1)
  sed -n 's/^RssAnon:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$process/status"
}
# await TEXT: the program comes to that point. Each unloading waits for two pauses of watchers, a fifth of a second at most each.
await() {
  local line
  read -r -t $((30 + 3 * cycles)) line <&"$loader_out" || fail "nothing comes, waiting for $1"
  [ "${line%$'\r'}" = "$1" ] || fail "$line"
}

# growth FOLDER ARGUMENT...: of the program's run with these arguments, from a tenth of it, or the hundredth cycle, to the end
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
  growth "$1" "Z:${provider//\//\\}" '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\'
  echo "$cycles cycles with two watchers: $grown KB more than after the first tenth, at most 100; terminated threads alone: $threads KB"
  [ "$grown" -le $((threads + 300 + 5 * cycles)) ] || fail "memory is left behind"
}

# Wine never gives back the memory of a thread that was terminated, about a megabyte each: no more than that may be left.
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
