#!/bin/bash
# The group lying: a module that answers other numbers than it has.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=(29 7); else every=(211 211); fi
run_proof host-asan lying "${every[0]}"
sanitized=${last_runs:-0} below_sanitizers=${figures:-}
run_proof windows lying "${every[1]}"
finish $runs $findings "no report of a sanitizer in $sanitized runs (${below_sanitizers}), and nothing wrong in ${last_runs:-0} runs under Wine (${figures:-})"
