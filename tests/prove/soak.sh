#!/bin/bash
# soak.sh short|full [BUILD]: uses the provider on a software token for a long time. The full form runs in the host build and
# under Wine, the short form in BUILD (default host).
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
set -o pipefail
report=build/prove/soak/report
mkdir -p build/prove/soak
: >$report

# soak_in BUILD SOAK LIBRARY SOFTTOKEN RUN...: SOAK, LIBRARY and SOFTTOKEN are the file names of program, provider and token in
# that build. tests/bench/bench.sh creates the token.
soak_in() {
  local build=$PWD/build/$1 program=$2 library=$3 softtoken=$4
  shift 4
  echo "in $(basename "$build")"
  tests/bench/bench.sh "$build/tests/prove/$program" "$build/$library" "$build/softtoken/$softtoken" \
    "$build/softtoken/libtelvopkcs11.so" -- "$@" | tr -d '\r' | sed "s|\$| ($(basename "$build"))|" | tee -a $report ||
    echo "FOUND the run in $(basename "$build") failed" | tee -a $report
}

part=1
[ "$1" = full ] || part=100
export TELVO_SOAK_PART=$part
if [ "$1" = full ]; then
  build host soak telvocsp telvopkcs11
  build windows soak telvocsp telvopkcs11 telvopkcs11_native
fi
if [ "$1" = full ] || [ "${2:-host}" = host ]; then soak_in host soak libtelvocsp.so libtelvopkcs11.so env; fi
if [ "$1" = full ] || [ "${2:-host}" = windows ]; then soak_in windows soak.exe telvocsp.dll telvopkcs11.dll "$PWD/cmake/wine-run" "$PWD/build/windows"; fi
runs=$(awk '{ sum += $2 } END { print sum + 0 }' $report)
[ "$runs" -gt 0 ] || exit 1
finish "$runs" "$(grep -c '^FOUND' $report)" "$(sed 's/^ok *//; s/^FOUND */FOUND: /' $report | paste -sd';' | sed 's/;/; /g')"
