#!/bin/bash
# The group lying: a module that returns wrong numbers.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=(29 7); else every=(211 211); fi
run_proof host-asan lying "${every[0]}"
sanitized=${last_runs:-0} below_sanitizers=${figures:-}
run_proof windows lying "${every[1]}"
finish $runs $findings "a module that returns wrong lengths, counts and handles: no sanitizer report in $sanitized runs (${below_sanitizers}), no finding in ${last_runs:-0} runs under Wine (${figures:-})"
