# What the groups of scripts/prove share. A group is a script that is called from the root of the repository with "short" or
# "full". It may write into build/prove/GROUP. It ends by a call of finish.
set -eu

# build PRESET TARGET...: builds what a group runs.
build() {
  local preset=$1
  shift
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$(nproc)" --target "$@" >/dev/null
}

# wine PROGRAM...: runs a program of the windows preset.
wine() { cmake/wine-run "$PWD/build/windows" "$@"; }

# finish RUNS FINDINGS SHOWN: ends a group. SHOWN is one sentence: what the run has shown, with its figures. Fails when there
# are findings.
finish() {
  printf 'prove-runs: %s\nprove-findings: %s\nprove-shown: %s\n' "$1" "$2" "$3"
  [ "$2" = 0 ]
}
