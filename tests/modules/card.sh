# Sourced after common.sh by the set-ups of a PIV card in a virtual reader. They define
#
#   reader_name_a   the reader's name, without the number at its end
#   write_settings FOLDER READER      writes FOLDER/env
#
# pcscd and the card run under a separate process, which executes the commands that pull, insert and down write into the
# pipe FOLDER/commands.
. "$modules/../system/readers.sh"

up() {
  readers_in "$1"
  make_pair "$1" authentication
  make_pair "$1" management
  cp "$1/authentication.crt" "$1/cert.pem"
  mkfifo "$1/commands"
  keep_card "$1" </dev/null >"$1/card.log" 2>&1 &
  keep_daemon "$1" $!
  for _ in $(seq 300); do
    [ ! -e "$1/ready" ] || break
    kill -0 $! || { cat "$1/card.log"; return 1; }
    sleep 0.1
  done
  await "the card" has_card
  write_settings "$1" "$reader_name_a 00 00"
  echo "export PCSCLITE_CSOCK_NAME=$(printf %q "$PCSCLITE_CSOCK_NAME")" >>"$1/env"
}

has_card() { opensc-tool --list-readers | grep -q '^0 *Yes'; }
has_no_card() { opensc-tool --list-readers | grep -q '^0 *No'; }

# keep_card FOLDER: runs reader A with the card in it, until down.
keep_card() {
  local command
  trap readers_down EXIT
  trap 'exit 0' TERM
  readers_up "$1" python3 "$modules/piv_card.py" "$1"
  card insert A
  touch "$1/ready"
  while true; do
    read -r command <>"$1/commands" || continue
    [ "$command" != down ] || break
    card "$command" A || true
  done
}

pull() {
  readers_in "$1"
  echo remove >"$1/commands"
  await "the empty reader" has_no_card
}

insert() {
  readers_in "$1"
  echo insert >"$1/commands"
  await "the card" has_card
}

# The process gets a command, so that it ends what it started. It is killed if it does not end.
down() {
  if [ -e "$1/ready" ]; then
    rm "$1/ready"
    echo down 1<>"$1/commands"
    await "the end of pcscd" process_is_gone "$(cat "$1/pids")" || true
  fi
  end_daemons "$1"
}
