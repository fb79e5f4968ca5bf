#!/bin/bash
# The group faults: calls of the module and of the platform fail.
. "$(dirname "$0")/common.sh"
. "$(dirname "$0")/flows.sh"
form=$1
build_proofs
# Each N-th run is done: of module and platform under the sanitizers, then of both under Wine.
if [ "$form" = full ]; then every=(5 101 5 23); else every=(149 499 149 2003); fi
run_proof host-asan module "${every[0]}"
run_proof host-asan platform "${every[1]}"
sanitized=$runs platform_figures=${figures:-}
run_proof windows module "${every[2]}"
module_figures=${figures:-}
run_proof windows platform "${every[3]}"
finish $runs $findings "a call of the module in $module_figures, or of $platform_figures, fails once or from then on, in $sanitized runs under the sanitizers and $((runs - sanitized)) under Wine: no crash, hang or leak, a last error with each FALSE, only documented exceptions, the next flow works, only PINs that were given are offered"
