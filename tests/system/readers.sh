# To be sourced by bash. Two virtual PC/SC readers, "TELVO Reader A 00 00" and "TELVO Reader B 00 00", with cards to
# insert and to pull:
#
#   readers_up FOLDER [CARD...]   starts pcscd with these readers; FOLDER is for its settings and its log. CARD is the
#                            command of another kind of card than virtual_card.py, and gets the same arguments
#   card insert A            puts the card into reader A; card remove A pulls it
#   readers_down             ends pcscd and the cards; call it in a trap
#   token_in_readers FOLDER LINES READER...
#                            writes a software token's settings: a card in each of these readers (A, B), with LINES added
#   stage_library FOLDER SYSTEM PROGRAM SOFTTOKEN PROVIDER WINSCARD_FOLDER
#                            copies what a program needs to load the provider, and sets $provider to the name to load
#   use_winscard FOLDER WINSCARD_FOLDER
#                            lets programs in FOLDER find these readers under Wine, whose own PC/SC has none
#
# The variable reader_name_a gives reader A another name, to which the service adds " 00 00".
#
# The test runs its own pcscd, which listens on a socket in FOLDER. PCSCLITE_CSOCK_NAME names that socket to every PC/SC
# program, so the machine's service and its readers are not seen. pcscd has no option for the socket, so a mount in a
# separate namespace replaces /run/pcscd by a folder in FOLDER. This needs root or sudo.

reader_name_a="TELVO Reader A"
export PCSCLITE_CSOCK_NAME=/nonexistent  # until there are readers

# readers_in FOLDER: from here on, programs use the readers that readers_up starts there, or has started there in
# another process.
readers_in() { PCSCLITE_CSOCK_NAME=$(realpath -m "$1")/pcscd/pcscd.comm; }

pcscd_answers() {
  python3 -c 'import os, socket; socket.socket(socket.AF_UNIX).connect(os.environ["PCSCLITE_CSOCK_NAME"])' 2>/dev/null
}

# free_port: vpcd serves two readers, at its port and the next one; the second of each pair, "... 00 01", stays unused.
# The ports are below those that the system assigns.
free_port() {
  python3 -c '
import random, socket
def free(port):
    try: return not socket.create_server(("", port)).close()
    except OSError: return False
print(next(port for port in iter(lambda: random.randrange(10000, 32000), None) if free(port) and free(port + 1)))'
}

as_root=()
[ "$(id -u)" = 0 ] || as_root=(sudo -n)

# write_reader FOLDER NAME PORT DRIVER. Two readers that share a driver's file would also share their cards.
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

# start_pcscd FOLDER
start_pcscd() {
  "${as_root[@]}" unshare -m bash -ec '
    mkdir -p /run/pcscd
    mount --bind "$1/pcscd" /run/pcscd
    exec pcscd -f -c "$1/readers.d"' - "$(realpath "$1")" >"$1/pcscd.log" 2>&1 </dev/null &
  pcscd_pid=$!
  for _ in $(seq 100); do
    if pcscd_answers; then return 0; fi
    kill -0 $pcscd_pid 2>/dev/null || break
    sleep 0.1
  done
  echo "readers_up: pcscd does not answer at $PCSCLITE_CSOCK_NAME" >&2
  cat "$1/pcscd.log" >&2
  return 1
}

readers_up() {
  local folder=$1 port_a port_b
  local cards=("${@:2}")
  [ $# -gt 1 ] || cards=(python3 "$(dirname "${BASH_SOURCE[0]}")/virtual_card.py")
  readers_in "$folder"
  [ ${#PCSCLITE_CSOCK_NAME} -lt 108 ] || { echo "readers_up: the path of a socket is too long: $PCSCLITE_CSOCK_NAME" >&2; return 1; }
  mkdir -p "$folder/readers.d" "$folder/pcscd"
  port_a=$(free_port) port_b=$(free_port)
  write_reader "$folder" "$reader_name_a" "$port_a" driver-a.so
  write_reader "$folder" "TELVO Reader B" "$port_b" driver-b.so
  start_pcscd "$folder" || return 1
  start_talk cards "${cards[@]}" A="$port_a" B="$port_b"
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
    provider=$(dirname "$5")/telvocsp.dll  # the loader converts it to the system's own name
  fi
}

use_winscard() {
  cp "$2/winscard.dll" "$2/pcscbridge.dll" "$1"
  export TELVO_WINSCARD=1
}
