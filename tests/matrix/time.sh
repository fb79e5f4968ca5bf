#!/bin/bash
# time.sh BUILD MODULE: measures a signature through the provider (build/host), the adapter and a module of tests/modules, with a kept
# login and without. Prints the median, the shortest and the longest of ten times. It is not a test: the times depend on the machine.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$(realpath "$1") setup=$here/../modules/$2.sh
folder=$(mktemp -d)
trap '"$setup" down "$folder/module" || true; rm -rf "$folder"' EXIT
"$setup" up "$folder/module"
. "$folder/module/env"
cp "$build/tests/matrix/matrix_flows" "$build/adapter/libtelvopkcs11.so" "$folder"
seq 1 1000 >"$folder/message"
export LD_LIBRARY_PATH=$folder EXCHANGE=$folder CONTAINER=${ID^^} TOKEN_READER=${READER:-Token of the matrix}
export TELVO_ADAPTER_CONF=$folder/adapter.conf
for keep in yes no; do
  printf '%s\n' "module = $MODULE" ${INIT:+"initialisation = $INIT"} "label = $LABEL" "keep_login = $keep" '[token]' \
    "label = $LABEL" "name = $TOKEN_READER" >"$TELVO_ADAPTER_CONF"
  printf 'keep_login = %s: ' $keep
  "$folder/matrix_flows" --time-signature
done
