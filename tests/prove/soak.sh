#!/bin/bash
# soak.sh short|full: long use of the provider on a software token, in the host build and under Wine.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
report=build/prove/soak/report
mkdir -p build/prove/soak
: >$report

# soak_in BUILD SOFTTOKEN RUN...: tests/bench/bench.sh makes the token.
soak_in() {
  local build=$PWD/build/$1 softtoken=$2 program provider
  shift 2
  program=$(ls "$build"/tests/prove/soak{,.exe} 2>/dev/null)
  provider=$(ls "$build"/{telvocsp.dll,libtelvocsp.so} 2>/dev/null)
  echo "in $(basename "$build")"
  tests/bench/bench.sh "$program" "$provider" "$build/softtoken/$softtoken" "$build/softtoken/libtelvopkcs11.so" -- "$@" | tr -d '\r' |
    tee -a $report
}

part=1
[ "$1" = full ] || part=100
export TELVO_SOAK_PART=$part
if [ "$1" = full ]; then
  build host soak telvocsp telvopkcs11
  build windows soak telvocsp telvopkcs11 telvopkcs11_native
fi
if [ "$1" = full ] || [ "${2:-host}" = host ]; then soak_in host libtelvopkcs11.so env; fi
if [ "$1" = full ] || [ "${2:-host}" = windows ]; then soak_in windows telvopkcs11.dll cmake/wine-run "$PWD/build/windows"; fi
runs=$(awk '{ sum += $2 } END { print sum + 0 }' $report)
[ "$runs" -gt 0 ] || exit 1
finish "$runs" "$(grep -c '^FOUND' $report)" "$(sed 's/^ok *//; s/^FOUND */FOUND: /' $report | paste -sd';' | sed 's/;/; /g')"
