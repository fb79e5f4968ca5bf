# Sourced by the tests whose results OpenSSL checks: two cards in FOLDER, and a folder for the files
# exchanged with OpenSSL.

fail() { echo "FAILED: $*"; exit 1; }

make_cards() { # make_cards FOLDER
  mkdir "$1/cards" "$1/exchange"
  touch "$1/cards/a" "$1/cards/b"
  cat >"$1/token.conf" <<'CONF'
state = state
[slot]
reader = TELVO Reader A
label = Card A
serial = A000000000000001
pin = 123456
default_certificate = Default
presence = file cards/a
[slot]
reader = TELVO Reader B
label = Card B
serial = B000000000000002
pin = 123456
presence = file cards/b
CONF
  export TELVO_SOFTTOKEN_CONF="$1/token.conf" TELVO_CARDS="Z:$1/cards" TELVO_EXCHANGE="Z:$1/exchange"
}

judged=0
accept() { # accept WHAT COMMAND...
  local what=$1
  shift
  "$@" >judge.log 2>&1 || { cat judge.log; fail "OpenSSL refuses $what"; }
  judged=$((judged + 1))
}
refuse() {
  local what=$1
  shift
  if "$@" >judge.log 2>&1; then fail "OpenSSL accepts $what"; fi
  judged=$((judged + 1))
}
