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
finish $runs $findings "in ${figures:-no flow} under Wine, the first allocation of each chain fails once, and again in $sanitized runs under the sanitizers: the call throws std::bad_alloc or returns an error code, the next flow works, no block leaks, no freed block contains a PIN or a key"
