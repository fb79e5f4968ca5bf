#!/bin/bash
# The group memory: allocations that fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=(19 1); else every=(1009 1009); fi
run_proof host-asan memory "${every[0]}"
sanitized=${last_runs:-0}
run_proof windows memory "${every[1]}"
finish $runs $findings "each allocation of ${figures:-no flow} fails once under Wine, and each ${every[0]}th under the sanitizers ($sanitized runs): std::bad_alloc leaves or a code comes, the next flow works, no block is left and no PIN or key stands in one that was given back"
