#!/bin/bash
# telvotool_cards.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# Every command of telvotool without a reader, without a card, and with a card that is pulled while the command runs.
# The expected answers are in the table of docs/administration.md, which is read here.
manual=$(realpath "$(dirname "$0")/../../docs/administration.md")
. "$(dirname "$0")/telvotool_stand.sh"

no_reader() { printf 'state = state\nreaders = none\n' >token.conf; }
# one_reader PRESENCE: a reader whose card has this `presence` in the software token's settings.
one_reader() {
  printf '%s\n' 'state = state' '[slot]' 'reader = TELVO Reader A' 'label = Card A' 'serial = A000000000000001' \
    'pin = 123456' "presence = $1" >token.conf
}
# Restores the cards to their state after the preparation.
old_cards() { rm -rf state; cp -r state.kept state; }

echo "preparation"
one_reader always
expect 0 register
expect 0 enrol signing --pin-file pin
expect 0 enrol office --request office.p10 --pin-file pin
expect 0 sign text --pin-file pin
openssl req -x509 -newkey rsa:2048 -nodes -keyout authority.key -subj '/CN=Authority' -out authority.pem 2>/dev/null
openssl req -inform DER -in office.p10 -out office.csr
openssl x509 -req -in office.csr -CA authority.pem -CAkey authority.key -CAcreateserial -out office.pem 2>/dev/null
cp -r state state.kept

# A cell of the table: an exit code, and words between backquotes.
code_of() { echo "${1%% *}"; }
words_of() { local words=${1#*\`}; echo "${words%\`*}"; }
answers() {
  local cell=$1
  shift
  TELVO_DISPLAY=none expect "$(code_of "$cell")" "$@"  # a dialog would show as a failure
  cat out err | grep -qF -- "$(words_of "$cell")" || fail "telvotool $*: not said: $(words_of "$cell")"
}

# arguments_of COMMAND: puts the words of the table's first column, with this test's names, into `arguments`.
arguments_of() {
  case $1 in
    'enrol NAME') arguments=(enrol new --bits 1024) ;;
    'enrol NAME --request FILE') arguments=(enrol new --bits 1024 --request new.p10) ;;
    'import-cert NAME FILE') arguments=(import-cert office office.pem) ;;
    'sign FILE') arguments=(sign text) ;;
    'sign FILE --container NAME') arguments=(sign text --container signing) ;;
    'verify FILE') arguments=(verify text) ;;
    'delete NAME') arguments=(delete signing --yes) ;;
    'adapter show') arguments=(adapter show) ;;
    'selftest') arguments=(selftest --yes) ;;
    'explain CODE') arguments=(explain NTE_BAD_KEYSET) ;;
    *) arguments=("$1") ;;
  esac
}
takes_pin() { [[ $1 =~ ^(enrol|import-cert|sign|delete)\  || $1 = selftest ]]; }

# Without a card no PIN is asked for: the answer is the same with and without --pin-file.
missing() {
  local cell=$1 command=$2
  arguments_of "$command"
  answers "$cell" "${arguments[@]}"
  if takes_pin "$command"; then answers "$cell" "${arguments[@]}" --pin-file pin; fi
  if [ "$command" = unregister ]; then expect 0 register; fi
}

# Checks the result of a command that completed.
is_complete() {
  one_reader always
  case $1 in
    'enrol NAME') certificate_of 0 new read.der && [ -s read.der ] ;;
    'enrol NAME --request FILE') openssl req -inform DER -in new.p10 -verify -noout 2>/dev/null ;;
    'import-cert NAME FILE') certificate_of 0 office read.der && [ -s read.der ] ;;
    'delete NAME') ! card 0 --login --pin 123456 --list-objects | grep -q signing ;;
    containers) grep -q $'^signing\t2048\tTELVO Reader A\tCN=signing$' out ;;
    certs) grep -q CN=signing out ;;
    selftest) ! card 0 --login --pin 123456 --list-objects | grep -q selftest- ;;
    sign*) openssl cms -verify -binary -inform DER -in text.p7s -content text -noverify -out /dev/null 2>/dev/null ;;
  esac
}

# sees_all COMMAND CODE: whether the command was done before the card was pulled.
sees_all() {
  if [ "$1" = doctor ]; then grep -qF 'its container "signing" is there' out; else [ "$2" = 0 ]; fi
}

# Pulls the card at one place of the command after another, until the command is done before the card is pulled.
pulled() {
  local cell=$1 command=$2 looks code places=0 pin=() stride=11
  arguments_of "$command"
  if takes_pin "$command"; then pin=(--pin-file pin); fi
  if [ "$command" = selftest ]; then stride=61; fi  # it looks for the card much more often than the others
  for ((looks = 1; ; looks += stride)); do
    old_cards
    rm -f new.p10 text.p7s read.der
    one_reader "looks $looks"
    code=0
    TELVO_DISPLAY=none "${run[@]}" "$folder/telvotool.exe" "${arguments[@]}" "${pin[@]}" >out 2>err </dev/null || code=$?
    checks=$((checks + 1))
    if sees_all "$command" $code; then break; fi
    [ $code = "$(code_of "$cell")" ] || fail "telvotool $command, pulled after look $looks: exit code $code"
    if cat out err | grep -qF -- "$(words_of "$cell")"; then
      places=$((places + 1))
    else
      complains 'no card is in'  # it was pulled before it was looked for
    fi
  done
  [ $places -ge 3 ] || fail "telvotool $command: pulled in $places places"
  is_complete "$command" || fail "telvotool $command: done, and its work is not there"
}

# A command that does not use cards works without the module.
unconcerned() {
  mv telvopkcs11.dll kept.dll
  missing "$@"
  mv kept.dll telvopkcs11.dll
}

echo "the table"
commands=' '
while IFS='|' read -r -u 9 _ command without empty away _; do
  read -r command <<<"${command//\`/}"
  read -r without <<<"$without"
  read -r empty <<<"$empty"
  read -r away <<<"$away"
  echo "- $command"
  commands+="${command%% *} "
  no_reader
  missing "$without" "$command"
  one_reader never
  missing "$empty" "$command"
  case $command in
    register | unregister | verify* | log | adapter* | explain*) unconcerned "$away" "$command" ;;
    change-pin) ;;  # below, in its dialog
    *) pulled "$away" "$command" ;;
  esac
  old_cards
  one_reader always
  expect 0 sign text --pin-file pin
done 9< <(sed -n '/^| command | no reader |/,/^$/p' "$manual" | tail -n +3 | sed '/^$/d')
expect 0 --help
for command in $(sed -n 's/^  \([a-z][a-z-]*\) .*/\1/p' out); do
  [[ $commands == *" $command "* ]] || fail "the table has no row for $command"
done
[ "$(wc -w <<<"$commands")" = 17 ] || fail "the table's rows: $commands"

echo "doctor warns once"
for presence in never always; do
  one_reader $presence
  doctor 0 doctor
  # Under Wine there is no smart card service.
  warnings=$(grep '^warn' out | grep -vc '^warn  smart card service: ' || true)
  [ $presence-$warnings = never-1 ] || [ $presence-$warnings = always-0 ] || fail "$warnings warnings, card: $presence"
done
# A card without a container is no fault either.
rm -rf state
"${run[@]}" reg delete 'HKCU\Software\Microsoft\SystemCertificates\My' /f >/dev/null 2>&1 || true
doctor 0 doctor
says 'ok    reader TELVO Reader A: card "Card A"'
[ "$(grep '^warn' out | grep -vc '^warn  smart card service: ' || true)" = 0 ] || fail "there is a warning about a new card"

echo "pulled while a dialog stands"
one_reader 'file a-is-in'
while read -r command; do
  old_cards
  touch a-is-in
  by_dialog 3 'Enter PIN for Card A' pull:a-is-in type:1002=123456 click:1001 gone -- $command
  complains 'the card was pulled'
  old_cards
  touch a-is-in
  by_dialog 3 'Enter PIN for Card A' pull:a-is-in click:1087 gone -- $command
  complains 'the card was pulled'
done <<'COMMANDS'
sign text
sign text --container signing
enrol new
import-cert office office.pem
delete signing --yes
COMMANDS
old_cards
touch a-is-in
by_dialog 3 'Change PIN for Card A' pull:a-is-in type:1068=123456 type:1069=Quill-42 type:1071=Quill-42 click:1 click:2 gone \
  -- change-pin
complains 'the PIN was not changed: the card was pulled'

echo "pulled while delete asks"
touch a-is-in
mkfifo question answer
"${run[@]}" "$folder/telvotool.exe" delete signing --pin-file pin <answer >out 2>question &
program_pid=$!
exec {answer}>answer {question}<question
asked=
until [[ $asked == *'to delete it: ' ]]; do
  IFS= read -r -N 1 -u $question next || fail "delete does not ask: $asked"
  asked+=$next
done
rm a-is-in
echo signing >&$answer
read -r -u $question said
[[ $said == *'cannot be deleted: the card was pulled' ]] || fail "delete says: $said"
code=0
wait $program_pid || code=$?
[ $code = 3 ] || fail "delete: exit code $code"

expect 0 unregister
echo "telvotool_cards: $checks checks"
