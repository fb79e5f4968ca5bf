#!/bin/bash
# provider.sh PROVIDER_TESTS PROVIDER SOFTTOKEN -- RUN... [GTEST_ARGUMENT...]
# The tests of the whole provider, in a folder of their own with two software tokens.
set -eu
program=$1 provider=$2 softtoken=$3
shift 4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

mkdir "$folder/cards"
cat >"$folder/token.conf" <<CONF
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
export TELVO_SOFTTOKEN_CONF="$folder/token.conf" TELVO_PROVIDER="Z:${provider//\//\\}" TELVO_CARDS="Z:$folder/cards"
cp "$program" "$softtoken" "$folder"
"$@" "$folder/$(basename "$program")" ${TELVO_GTEST_FILTER:+--gtest_filter=$TELVO_GTEST_FILTER}
