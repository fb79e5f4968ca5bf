#!/bin/bash
# The group memory: allocations that fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=(211 67); else every=(1009 1009); fi
run_proof host-asan memory "${every[0]}"
sanitized=${last_runs:-0}
run_proof windows memory "${every[1]}"
finish $runs $findings "of ${figures:-no flow} each ${every[0]}th fails once under the sanitizers ($sanitized runs) and each ${every[1]}th under Wine: std::bad_alloc leaves or a code comes, the next flow works, no block is left and no PIN or key stands in one that was given back"
