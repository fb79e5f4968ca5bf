# To be sourced by bash. Two virtual PC/SC readers, "TELVO Reader A 00 00" and "TELVO Reader B 00 00", with cards to put in
# and to pull:
#
#   readers_up FOLDER [CARD...]   starts pcscd with these readers; FOLDER is for its settings and its log. CARD is the
#                            command of another kind of card than virtual_card.py's, which is called with the same arguments
#   card insert A            puts the card into reader A; card remove A pulls it
#   readers_down             ends all of it; call it in a trap
#   token_in_readers FOLDER LINES READER...
#                            settings of a software token, with a card in each of these readers (A, B) and LINES more for each card
#   stage_library FOLDER SYSTEM PROGRAM SOFTTOKEN PROVIDER WINSCARD_FOLDER
#                            what a program needs that loads the provider; the program finds it as $provider
#   use_winscard FOLDER WINSCARD_FOLDER
#                            programs of FOLDER find these readers under Wine, whose own PC/SC knows none
#
# The variable reader_name_a gives reader A another name, to which the service adds " 00 00".
#
# A machine has one pcscd. Tests of several build folders wait for each other; a pcscd that is not a test's is left alone,
# and readers_up fails.

# vpcd serves two readers at its port and the one behind it; the second of each pair, "... 00 01", stays unused.
reader_port_a=35963
reader_port_b=35979
reader_name_a="TELVO Reader A"

pcscd_answers() {
  python3 -c 'import socket; socket.socket(socket.AF_UNIX).connect("/run/pcscd/pcscd.comm")' 2>/dev/null
}

as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo -n)

# write_reader FOLDER NAME PORT DRIVER. Two readers that share a driver's file would share the cards in them as well.
write_reader() {
  cp /usr/lib/pcsc/drivers/serial/libifdvpcd.so "$1/$4"
  printf 'FRIENDLYNAME "%s"\nDEVICENAME /dev/null:0x%X\nLIBPATH %s\nCHANNELID 0x%X\n\n' \
    "$2" "$3" "$1/$4" "$3" >>"$1/readers.d/telvo"
}

# start_talk NAME COMMAND...: starts a program to talk with; NAME_pid is its process, NAME_in and NAME_out are descriptors.
# (Bash has one coproc at a time.)
start_talk() {
  local name=$1 pipes
  shift
  pipes=$(mktemp -d)
  mkfifo "$pipes/in" "$pipes/out"
  "$@" <"$pipes/in" >"$pipes/out" &
  printf -v "${name}_pid" %s $!
  exec {talk_in}>"$pipes/in" {talk_out}<"$pipes/out"
  printf -v "${name}_in" %s "$talk_in"
  printf -v "${name}_out" %s "$talk_out"
  rm -r "$pipes"
}

# The lock is the card program's to keep: a program that outlives the test, like Wine's server, must not inherit it.
readers_up() {
  local folder=$1 lock
  local cards=("${@:2}")
  [ $# -gt 1 ] || cards=(python3 "$(dirname "${BASH_SOURCE[0]}")/virtual_card.py")
  exec {lock}>"${TMPDIR:-/tmp}/telvo-readers.lock"
  flock -w 240 "$lock" || { echo "readers_up: another test does not let go of pcscd" >&2; return 1; }
  if pcscd_answers; then
    echo "readers_up: a pcscd runs already; stop it for this test (systemctl stop pcscd.socket pcscd)" >&2
    return 1
  fi
  mkdir -p "$folder/readers.d"
  write_reader "$folder" "$reader_name_a" $reader_port_a driver-a.so
  write_reader "$folder" "TELVO Reader B" $reader_port_b driver-b.so
  "${as_root[@]}" pcscd -f -c "$folder/readers.d" >"$folder/pcscd.log" 2>&1 {lock}>&- </dev/null &
  pcscd_pid=$!
  for _ in $(seq 100); do
    pcscd_answers && break
    kill -0 $pcscd_pid 2>/dev/null || { cat "$folder/pcscd.log" >&2; return 1; }
    sleep 0.1
  done
  start_talk cards "${cards[@]}" A=$reader_port_a B=$reader_port_b
  exec {lock}>&-
}

card() {
  local answer
  echo "$1 $2" >&"$cards_in"
  read -r -t 10 answer <&"$cards_out" && [ "$answer" = "$1 $2" ] || { echo "card: no answer to $1 $2" >&2; return 1; }
}

readers_down() {
  if [ -n "${pcscd_pid:-}" ]; then
    "${as_root[@]}" kill "$pcscd_pid" 2>/dev/null || true
    wait "$pcscd_pid" 2>/dev/null || true
  fi
  if [ -n "${cards_pid:-}" ]; then kill "$cards_pid" 2>/dev/null || true; fi
  cards_pid='' pcscd_pid=''
}

token_in_readers() {
  local folder=$1 lines=$2 reader
  echo "state = state" >"$folder/token.conf"
  for reader in "${@:3}"; do
    printf '[slot]\nreader = TELVO Reader %s 00 00\nlabel = Card %s\nserial = %s000000000000001\n%s\n' \
      "$reader" "$reader" "$reader" "$lines" >>"$folder/token.conf"
  done
  export TELVO_SOFTTOKEN_CONF="$folder/token.conf"
}

stage_library() {
  local folder=$1 system=$2
  cp "$3" "$4" "$folder"
  if [ "$system" = Windows ]; then
    use_winscard "$folder" "$6"
    provider="Z:${5//\//\\}"
  else
    export LD_LIBRARY_PATH=$folder
    provider=$(dirname "$5")/telvocsp.dll  # the loader makes the system's own name of it
  fi
}

use_winscard() {
  cp "$2/winscard.dll" "$2/pcscbridge.dll" "$1"
  export TELVO_WINSCARD=1
}
