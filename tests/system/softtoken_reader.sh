#!/bin/bash
# softtoken_reader.sh MODULE: a software token whose presence follows a PC/SC reader comes and goes with the card in it.
set -eu
module=$1
folder=$(mktemp -d)
trap 'readers_down; rm -rf "$folder"' EXIT
trap 'echo "FAILED: line $LINENO: $BASH_COMMAND (exit code $?)"' ERR
. "$(dirname "$0")/readers.sh"

token_in_readers "$folder" 'presence = reader' A B

# await_tokens TEXT: waits until the labels of the inserted tokens, separated by commas, are TEXT.
await_tokens() {
  local tokens
  for _ in $(seq 30); do
    tokens=$(pkcs11-tool --module "$module" --list-slots 2>&1 | sed -n 's/^ *token label *: *//p' | paste -sd,)
    [ "$tokens" = "$1" ] && return
    sleep 0.1
  done
  echo "FAILED: the tokens are '$tokens' instead of '$1'"
  exit 1
}

await_tokens ''  # without the service
readers_up "$folder" || exit 1
await_tokens ''
card insert A
await_tokens 'Card A'
card insert B
await_tokens 'Card A,Card B'
card remove A
await_tokens 'Card B'
card remove B
await_tokens ''
echo "the tokens came and went with the cards in their readers"
