#!/bin/bash
# unload.sh SYSTEM UNLOAD SOFTTOKEN PROVIDER WINSCARD_FOLDER -- RUN...
# The provider's library is unloaded after contexts on two readers: all the lines that its end writes to the log.
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
token_in_readers "$folder" '' A B
stage_library "$folder" "$system" "$program" "$softtoken" "$provider" "$winscard"
set_log on
"${run_command[@]}" "$folder/$(basename "$program")" "$provider" \
  '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\' || fail "the program ends with an error"

# Each line of the log ends in three spaces.
cat >"$folder/wanted" <<'LOG'
CPReleaseContext Success   

~UnplugThreadManager()   
Unplug Thread deleted   
Unplug Thread deleted   

~Cryptoki   
LOG
tr -d '\r' <"$log" | tac | sed '/^CPReleaseContext Success/q' | tac >"$folder/found"
diff "$folder/wanted" "$folder/found" || fail "the end of the library writes other lines (>) than expected (<)"

# With the log on, the library has a mutex, too. (A build with a sanitizer has no load_cycles.)
cycles=$(dirname "$program")/load_cycles${program##*unload}
if [ -x "$cycles" ]; then
  cp "$cycles" "$folder"
  yes '' | "${run_command[@]}" "$folder/$(basename "$cycles")" 10 "$provider" '\\.\TELVO Reader A 00 00\' '\\.\TELVO Reader B 00 00\' ||
    fail "handles stay open"
fi
