#!/bin/sh
# short.sh PROGRAM RUNS: runs a fuzzer over its corpus and mutations of it, RUNS inputs in all. Leaks are looked for
# only at the end: after each input that would take most of the time. An input that fails is left in the current folder.
set -eu
corpus=$(dirname "$0")/corpus/$(basename "$1" | sed 's/^fuzz_//')
new=$(mktemp -d)
trap 'rm -rf "$new"' EXIT
"$1" -runs="$2" -max_len=4096 -seed=1 -detect_leaks=0 -print_final_stats=1 "$new" "$corpus"
