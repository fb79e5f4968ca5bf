#!/bin/bash
# mutants.sh full: makes 250 random small changes to src/, and removes each lock once; the tests must notice each. There is no
# short form: the sources must first be built without optimisation, which takes minutes.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
out=build/prove/mutants
count=250
[ "$1" = full ] || { echo "mutants: there is no short form; scripts/mutants N tries as many as you like" >&2; exit 2; }

scripts/mutants $count | tee $out/random || true
scripts/mutants --locks | tee $out/locks || true

# figures FILE: prints the line "tally: COMPILED SURVIVORS KILLED OBSERVABLE PERCENT". SURVIVORS are only those that can be
# observed.
figures() { grep '^tally: ' "$1" || echo 'tally: 0 1 0 0 0'; }
read -r _ mutants survivors killed observable percent <<<"$(figures $out/random)"
read -r _ locks kept_locks killed_locks observable_locks _ <<<"$(figures $out/locks)"
seconds=$(sed -n 's/^mutants: .*; \(.*\) s each$/\1/p' $out/random)
shown="the tests notice $killed of $observable random changes ($percent %, ${seconds:-?} s each), and $killed_locks of \
$observable_locks removed locks; $((mutants - observable)) other changes and $((locks - observable_locks)) other locks \
cannot be observed, for the reasons in tests/mutants/survivors"
finish $((mutants + locks)) $((survivors + kept_locks)) "$shown"
