#!/bin/bash
# provider.sh PROVIDER_TESTS PROVIDER SOFTTOKEN -- RUN... [GTEST_ARGUMENT...]
# The tests of the whole provider, in a separate folder with two software tokens.
set -eu
program=$1 provider=$2 softtoken=$3
shift 4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

. "$(dirname "$0")/judge.sh"

make_cards "$folder"
export TELVO_PROVIDER="Z:${provider//\//\\}"
cp "$program" "$softtoken" "$folder"
"$@" "$folder/$(basename "$program")" ${TELVO_GTEST_FILTER:+--gtest_filter=$TELVO_GTEST_FILTER}
