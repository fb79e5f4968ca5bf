#!/bin/bash
# hardening.sh short|full: checks that what users get is compiled with the stack protector and checked buffers, is loaded at
# random addresses, has no writable code and needs only the system's libraries. The full form also runs clang's and gcc's static
# analysis on each source.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
windows=build/windows
report=build/prove/hardening/report
mkdir -p build/prove/hardening

[ "$1" = short ] || build windows telvocsp telvotool adapter overrun
python3 tests/prove/hardening.py $windows/compile_commands.json x86_64-w64-mingw32-objdump \
  $windows/telvocsp.dll $windows/telvotool.exe $windows/adapter/telvopkcs11.dll >$report

# overrun stack|buffer: checks that the program that overruns it ends silently, with the low byte of STATUS_STACK_BUFFER_OVERRUN
# (0xC0000409).
overrun() {
  local code=0 output
  output=$(wine $windows/tests/prove/overrun.exe "$1") || code=$?
  if [ $code = 9 ] && [ -z "$output" ]; then echo "ok    "; else echo "FOUND "; fi
  echo "a $1 overrun ends the process: code $code $output"
}
for what in stack buffer; do overrun $what | paste -sd '' >>$report; done
shown="stack protector and checked buffers in each source, and a program that overruns either is ended; random 64-bit addresses; no writable code; imports only from the system"
if [ "$1" = full ]; then
  cmake --preset tidy >/dev/null
  echo "clang's analysis"
  scripts/tidy tidy windows >build/prove/hardening/tidy || sed -n '/^\[/!p' build/prove/hardening/tidy
  sed -n 's/^tidy: \([0-9]*\) sources without findings/\1/p' build/prove/hardening/tidy |
    while read -r sources; do seq -f 'ok    clang-tidy: unit %g' "$sources"; done >>$report
  grep -q '^ok    clang-tidy' $report || echo 'FOUND clang-tidy has findings' >>$report
  echo "gcc's analysis, some minutes"
  python3 tests/prove/analyze.py $windows/compile_commands.json | tee -a $report
  shown="$shown; clang-tidy with clang's analyzer, and gcc -fanalyzer, find no errors ($(grep -c 'fanalyzer' $report) units; two checks \
of gcc 12 that misread C++ are off, see tests/prove/analyze.py)"
fi
grep '^FOUND' $report || true
explained=$(grep -c '^EXPLAINED' $report) || true
if [ "$explained" -gt 0 ]; then
  shown="$shown; false alarms of gcc: $(sed -n 's/^EXPLAINED -fanalyzer //p' $report | paste -sd'|' | sed 's/|/; /g')"
fi
finish "$(grep -c '^ok\|^FOUND\|^EXPLAINED' $report)" "$(grep -c '^FOUND\|^EXPLAINED' $report)" "$shown" "$explained"
