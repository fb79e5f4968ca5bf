#!/bin/bash
# load_cycles.sh LOAD_CYCLES PROVIDER SOFTTOKEN WINSCARD_FOLDER CYCLES -- RUN...
# The library comes and goes with watchers running on two real readers: no hang, no failure, no growth worth speaking of.
set -eu
program=$1 provider=$2 softtoken=$3 winscard=$4 cycles=$5
shift 6
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/../system/readers.sh"
fail() { echo "FAILED: $*"; exit 1; }

readers_up "$folder" || exit 1
card insert A
card insert B
cat >"$folder/token.conf" <<'CONF'
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
export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
cp "$program" "$softtoken" "$folder"
use_winscard "$folder" "$winscard"

# Kilobytes of memory that the process itself wrote, as Linux counts them.
used() {
  local process
  process=$(pgrep -f "$(basename "$folder").load_cycles" | head -n 1)
  sed -n 's/^RssAnon:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$process/status"
}
# await TEXT: the program comes to that point. Each unloading waits for the watcher's pause, a fifth of a second at most.
await() {
  local line
  read -r -t $((30 + cycles)) line <&"$loader_out" || fail "nothing comes, waiting for $1"
  [ "${line%$'\r'}" = "$1" ] || fail "$line"
}

# growth ARGUMENT...: of the program's run with these arguments, from a tenth of it, or the hundredth cycle, to the end
growth() {
  local before
  start_talk loader "${run_command[@]}" "$folder/$(basename "$program")" "$cycles" "$@"
  await begun
  before=$(used)
  echo >&"$loader_in"
  await done
  grown=$(($(used) - before))
  echo >&"$loader_in"
  wait "$loader_pid"
}

# Wine never gives back the memory of a thread that was terminated, about a megabyte each: no more than that may be left.
growth 2
threads=$grown
growth "Z:${provider//\//\\}" '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\'
echo "$cycles cycles with two watchers: $grown KB more than after the first tenth, at most 100; terminated threads alone: $threads KB"
[ "$grown" -le $((threads + 300 + 5 * cycles)) ] || fail "memory is left behind"
