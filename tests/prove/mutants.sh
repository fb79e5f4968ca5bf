#!/bin/bash
# mutants.sh full: 250 random small changes of src/, and each lock that is left out; the unit tests must notice them. There is no
# short form: the sources must be built first without optimisation, which takes minutes.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
out=build/prove/mutants
count=250
[ "$1" = full ] || { echo "mutants: there is no short form; scripts/mutants N tries as many as you like" >&2; exit 2; }

scripts/mutants $count | tee $out/random || true
scripts/mutants --locks | tee $out/locks || true

# figures FILE: the line "tally: COMPILED SURVIVORS KILLED OBSERVABLE PERCENT"; only survivors that can be observed.
figures() { grep '^tally: ' "$1" || echo 'tally: 0 1 0 0 0'; }
read -r _ mutants survivors killed observable percent <<<"$(figures $out/random)"
read -r _ locks kept_locks killed_locks observable_locks _ <<<"$(figures $out/locks)"
seconds=$(sed -n 's/^mutants: .*; \(.*\) s each$/\1/p' $out/random)
shown="$killed of $observable random changes that can be observed are killed ($percent %), ${seconds:-?} s each, and $killed_locks of \
$observable_locks locks that were left out; $((mutants - observable)) other changes and $((locks - observable_locks)) other locks \
cannot be observed, tests/mutants/survivors says why"
finish $((mutants + locks)) $((survivors + kept_locks)) "$shown"
