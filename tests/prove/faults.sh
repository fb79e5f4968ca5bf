#!/bin/bash
# The group faults: calls of the module and of the platform that fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
# Of the runs of each proof, module and platform, under the sanitizers and under Wine.
if [ "$form" = full ]; then every=(5 101 5 23); else every=(149 499 149 2003); fi
run_proof host-asan module "${every[0]}"
run_proof host-asan platform "${every[1]}"
sanitized=$runs platform_figures=${figures:-}
run_proof windows module "${every[2]}"
module_figures=${figures:-}
run_proof windows platform "${every[3]}"
finish $runs $findings "each call of the module in $module_figures, and $platform_figures, fail in turn, of which $sanitized runs under the sanitizers and $((runs - sanitized)) under Wine: no crash, hang or leak, FALSE has a last error, only the told exceptions leave, the next flow works, no PIN is offered that nobody gave"
