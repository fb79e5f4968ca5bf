#!/bin/sh
# windows_smoke.sh COMMAND...: runs the smoke program with its own settings and its own state folder. The module is
# Linux code, so the environment contains a Linux path.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TELVO_SOFTTOKEN_CONF="$work/settings.conf"
cat >"$TELVO_SOFTTOKEN_CONF" <<'EOF'
state = state
[slot]
reader = TELVO Reader A 00 00
label = Card of the smoke test
serial = A000000000000001
pin = 123456
so_pin = 654321
default_certificate = container
EOF
"$@"
