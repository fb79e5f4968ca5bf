#!/bin/bash
# unload.sh short|full: loads and unloads the library under Wine and in the host build, with watchers on two real readers. Wine
# keeps a megabyte for each terminated thread, so ten processes share the cycles, five at a time. The short form is the test
# load_cycles.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
rounds=1 processes=1 cycles=20
if [ "$1" = full ]; then rounds=2 processes=5 cycles=1000; fi
mkdir -p build/prove/unload
build windows load_cycles telvocsp telvopkcs11 winscard_forwarder
build host load_cycles telvocsp telvopkcs11
findings=0

# cycle SYSTEM BUILD PROGRAM SOFTTOKEN PROVIDER RUN...
cycle() {
  local report=build/prove/unload/$1 build=$PWD/build/$2
  tests/system/load_cycles.sh "$1" "$build/tests/system/$3" "$build/softtoken/$4" "$build/$5" "$build/winscard" $cycles $processes \
    -- "${@:6}" >build/prove/unload/round || findings=$((findings + 1))
  tee -a "$report" <build/prove/unload/round
}
rm -f build/prove/unload/{Windows,Linux}
for ((round = 1; round <= rounds; ++round)); do
  cycle Windows windows load_cycles.exe telvopkcs11.dll telvocsp.dll cmake/wine-run "$PWD/build/windows"
done
cycle Linux host load_cycles libtelvopkcs11.so libtelvocsp.so env

# sum SYSTEM TEXT: prints the sum of the kilobytes after that text, over all processes
sum() { sed -n "s/.*$2 \(-*[0-9]*\) KB.*/\1/p" build/prove/unload/"$1" | awk '{ sum += $1 } END { print sum + 0 }'; }
finish $(((rounds + 1) * processes * cycles)) $findings "under Wine, $((rounds * processes)) processes with $cycles cycles and two watchers each: after \
the first tenth, or the first 100 cycles, memory grew by $(sum Windows watchers:) KB in all, while Wine itself \
keeps $(sum Windows alone:) KB for as many terminated threads; in the host build, which keeps nothing for them, $processes such processes \
grew by $(sum Linux watchers:) KB"
