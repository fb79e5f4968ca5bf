#!/bin/bash
# The group memory: allocations that fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=1; else every=151; fi
run_proof host-asan memory $every
sanitized=${last_runs:-0}
run_proof windows memory $every
finish $runs $findings "in ${figures:-no flow} under Wine, the first allocation of each chain fails once, and so under the sanitizers ($sanitized runs): std::bad_alloc leaves or a code comes, the next flow works, no block is left and no PIN or key stands in one that was given back"
