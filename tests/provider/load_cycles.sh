#!/bin/bash
# load_cycles.sh LOAD_CYCLES PROVIDER SOFTTOKEN WINSCARD_FOLDER CYCLES -- RUN...
# The library comes and goes with a watcher running on a real reader: no hang, no failure, no growth worth speaking of.
set -eu
program=$1 provider=$2 softtoken=$3 winscard=$4 cycles=$5
shift 6
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/../system/readers.sh"
fail() { echo "FAILED: $*"; exit 1; }

readers_up "$folder" || exit 1
card insert A
cat >"$folder/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A 00 00
label = Card A
serial = A000000000000001
CONF
export TELVO_SOFTTOKEN_CONF="$folder/token.conf" TELVO_WINSCARD=1
cp "$program" "$softtoken" "$winscard/winscard.dll" "$winscard/pcscbridge.dll" "$folder"

# Each unloading waits for the watcher's pause, a fifth of a second at most.
timeout $((30 + cycles)) "$@" "$folder/$(basename "$program")" "Z:${provider//\//\\}" '\\.\TELVO Reader A 00 00\' "$cycles" \
  >"$folder/output" || fail "$(cat "$folder/output")"
cat "$folder/output"
read -r handles kilobytes < <(sed -n 's/.*: \(-\{0,1\}[0-9]*\) handles, \(-\{0,1\}[0-9]*\) KB.*/\1 \2/p' "$folder/output")
[ "$handles" -le 2 ] || fail "handles are left behind"
[ "$kilobytes" -le $((100 + 8 * cycles)) ] || fail "memory is left behind"
