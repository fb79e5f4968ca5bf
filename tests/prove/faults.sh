#!/bin/bash
# The group faults: calls of the module and of the platform that fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
if [ "$form" = full ]; then every=(3 1); else every=(149 149); fi
run_proof host-asan module "${every[0]}"
sanitized=${last_runs:-0}
run_proof windows module "${every[1]}"
finish $runs $findings "${figures:-}; $sanitized runs under the sanitizers and ${last_runs:-0} under Wine: no crash, hang or leak, FALSE has a last error, only the told exceptions leave, the next flow works, no PIN is offered that nobody gave"
