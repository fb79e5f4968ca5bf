#!/bin/bash
# prove_missing.sh SOURCE: scripts/prove --missing in a small repository runs exactly the groups that have no figures of today's
# sources.
set -eu
source=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
fail() { echo "FAILED: $*"; cat "$tree/build/output"; exit 1; }
mkdir -p "$tree"/{build,docs,scripts,tests/prove/results}
cp "$source/scripts/prove" "$tree/scripts"
cp "$source/tests/prove/table.py" "$tree/tests/prove"
cd "$tree"
printf '#!/bin/sh\n' >scripts/setup
echo 'all_groups=(one mutants)' >tests/prove/groups
for group in one mutants; do
  printf '#!/bin/sh\necho %s >>build/ran\nfor line in "runs: 1" "findings: 0" "shown: text"; do echo "prove-$line"; done\n' \
    $group >tests/prove/$group.sh
done
chmod +x scripts/setup tests/prove/*.sh
echo build >.gitignore
echo source >source
git init -q .
commit() { git add -A; git -c user.name=test -c user.email=test@localhost commit -qm "$1"; }
commit sources

# missing GROUPS AFTER: after a change, exactly these groups must run.
missing() {
  : >build/ran
  scripts/prove --missing >build/output 2>&1 || fail "scripts/prove fails after $2"
  [ "$(paste -sd' ' build/ran)" = "$1" ] || fail "after $2: \"$(paste -sd' ' build/ran)\" ran, not \"$1\""
}

missing "one mutants" "the first commit"
missing "" "a run of all groups"
commit figures
missing "" "a commit of the figures"
echo words >docs/words
echo words >README.md
commit documents
missing "" "a change of documents"
mkdir cmake tests/system
echo start | tee cmake/wine-run >tests/system/wine_run.sh
commit "a script that starts Wine, and its test"
missing "" "a change of how Wine is started"
mkdir tests/unit tests/mutants
for file in unit/test mutants/survivors; do
  echo "$file" >tests/$file
  commit "$file"
  missing "mutants" "a change of tests/$file"
  commit figures
done
rm tests/prove/results/mutants
missing "mutants" "a loss of figures"
echo other >source
missing "one mutants" "a change of the sources"
missing "one mutants" "a run with uncommitted changes"
commit "other sources"
missing "one mutants" "their commit"
missing "" "a run of all groups"
sed -i 's/^commit.*/commit\t1234567/' tests/prove/results/one
missing "one" "figures of an unknown commit"
commit figures
cat >>tests/prove/mutants.sh <<'GROUP'
[ -e build/changed ] || { touch build/changed; echo third >source; git -c user.name=test -c user.email=test@localhost commit -qam third; }
GROUP
commit "a group during which the sources change"
missing "one mutants" "it"
missing "one mutants" "a change of the sources during a run"
