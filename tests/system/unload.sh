#!/bin/bash
# unload.sh SYSTEM UNLOAD SOFTTOKEN PROVIDER WINSCARD_FOLDER -- RUN...
# The provider's library is unloaded behind contexts on two readers: what its end leaves in the log, whole.
set -eu
system=$1 program=$2 softtoken=$3 provider=$4 winscard=$5
shift 6
run_command=("$@")
folder=$(mktemp -d)
trap 'readers_down; set_log off; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/log_switch.sh"
. "$(dirname "$0")/readers.sh"

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
serial = B000000000000001
CONF
export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
cp "$program" "$softtoken" "$folder"
if [ "$system" = Windows ]; then
  use_winscard "$folder" "$winscard"
  provider="Z:${provider//\//\\}"
else
  export LD_LIBRARY_PATH=$folder
  provider=$(dirname "$provider")/telvocsp.dll  # the loader makes the system's own name of it
fi
set_log on
"${run_command[@]}" "$folder/$(basename "$program")" "$provider" \
  '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\' || fail "the program ends with an error"

# Each line of the log ends in three blanks.
cat >"$folder/wanted" <<'LOG'
CPReleaseContext Success   

~UnplugThreadManager()   
Unplug Thread deleted   
Unplug Thread deleted   

~Cryptoki   
LOG
tr -d '\r' <"$log" | tac | sed '/^CPReleaseContext Success/q' | tac >"$folder/found"
diff "$folder/wanted" "$folder/found" || fail "the end of the library leaves other lines (>) than it should (<)"
