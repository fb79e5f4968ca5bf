#!/bin/bash
# unload.sh short|full: the library comes and goes under Wine, with watchers on two real readers. Wine keeps a megabyte of
# each thread that was terminated, so ten processes share the cycles, five at a time. The short form is the test load_cycles.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
rounds=1 processes=1 cycles=20
if [ "$1" = full ]; then rounds=2 processes=5 cycles=1000; fi
build=$PWD/build/windows
report=build/prove/unload/report
mkdir -p build/prove/unload
build windows load_cycles telvocsp telvopkcs11 winscard_forwarder

findings=0
: >$report
for ((round = 1; round <= rounds; ++round)); do
  tests/provider/load_cycles.sh "$build/tests/provider/load_cycles.exe" "$build/telvocsp.dll" "$build/softtoken/telvopkcs11.dll" \
    "$build/winscard" $cycles $processes -- "$PWD/cmake/wine-run" "$build" >build/prove/unload/round || findings=$((findings + 1))
  tee -a $report <build/prove/unload/round
done
# sum BEFORE: the sum of the kilobytes that stand after that text, over all rounds
sum() { sed -n "s/.*$1 \(-*[0-9]*\) KB.*/\1/p" $report | awk '{ sum += $1 } END { print sum + 0 }'; }
finish $((rounds * processes * cycles)) $findings "$((rounds * processes)) times $cycles cycles with two watchers: after the first tenth, or the first 100, \
memory grew by $(sum watchers:) KB in all; Wine keeps $(sum alone:) KB of as many terminated threads"
