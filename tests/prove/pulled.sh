#!/bin/bash
# pulled.sh short|full [BUILD]: pulls cards from virtual readers at each step of a signature and of a key pair generation.
# The full form runs in the host build and under Wine, the short form in BUILD.
# shellcheck source=tests/prove/common.sh
. "$(dirname "$0")/common.sh"
form=$1
report=$PWD/build/prove/pulled/report${2:+-$2}
mkdir -p build/prove/pulled
: >"$report"

# in_build BUILD: runs everything with that build, in a subshell
in_build() (
  build=$PWD/build/$1
  folder=$(mktemp -d)
  trap 'readers_down; set_log off; rm -rf "$folder"' EXIT
  . tests/system/readers.sh
  if [ "$1" = windows ]; then
    system=Windows run_command=("$PWD/cmake/wine-run" "$build") softtoken=telvopkcs11.dll runs_how='under Wine'
    use_winscard "$folder" "$build/winscard"
    cp "$build/tests/prove/pulled.exe" "$build/telvocsp.dll" "$folder"
    export TELVO_DISPLAY=none  # a dialog would show as a failure
  else
    system=Linux run_command=(env) softtoken=libtelvopkcs11.so runs_how='in the host build'
    cp "$build/tests/prove/pulled" "$build/libtelvocsp.so" "$folder"
    export LD_LIBRARY_PATH="$folder"
  fi
  cp "$build/softtoken/$softtoken" "$folder"
  . tests/system/log_switch.sh
  make_cards
  set_log on
  readers_up "$folder"
  way "the only card" card A
  way "one of two cards" card A B
  if [ "$form" = full ]; then way "the last reader together with the service" service A; fi
)

make_cards() {
  token_in_readers "$folder" $'pin = 123456\npresence = always' A B
  for slot in 0 1; do
    pkcs11-tool --module "$build/softtoken/libtelvopkcs11.so" --slot $slot --login --pin 123456 --keypairgen --key-type rsa:2048 \
      --id 6f6e65 >"$folder/pkcs11-tool.log" 2>&1 || { cat "$folder/pkcs11-tool.log"; return 1; }
  done
  mv "$folder/state" "$folder/state.kept"
  openssl req -x509 -newkey rsa:1024 -nodes -subj /CN=Pulled -keyout "$folder/key.pem" -outform DER -out "$folder/certificate" \
    2>/dev/null
}

# move pull|return WAY: pulls the card or puts it back; the way "service" stops or starts the service instead.
move() {
  case $1-$2 in
    pull-card) card remove A ;;
    return-card) card insert A ;;
    pull-service) readers_down ;;
    return-service) rm -r "$folder/readers.d" && readers_up "$folder" && card insert A ;;
  esac
}

# way TITLE card|service READER...
way() {
  local title=$1 way=$2 line others=()
  shift 2
  [ $# = 1 ] || others=("TELVO Reader $2 00 00")
  token_in_readers "$folder" $'pin = 123456\npresence = reader' "$@"
  rm -rf "$folder/state"
  cp -r "$folder/state.kept" "$folder/state"
  for reader in "$@"; do card insert "$reader"; done
  cd "$folder"  # Wine finds Linux paths when it starts in a Linux folder
  start_talk program "${run_command[@]}" "$folder/$(basename "$(ls pulled*)")" "$way" \
    'TELVO Reader A 00 00' "$log" certificate "${others[@]}"
  cd "$OLDPWD"
  while IFS= read -r -t 60 line <&"$program_out"; do
    line=${line%$'\r'}
    case $line in
      end) break ;;
      'do '*) move "${line#do }" "$way"; echo done >&"$program_in" ;;
      *) echo "${line/ removals in/ removals of $title $runs_how, in}" | tee -a "$report" ;;
    esac
  done
  [ "$line" = end ] || { echo "FOUND 0 $title: the program does not finish" | tee -a "$report"; kill "$program_pid"; }
  wait "$program_pid" || true
}

part=1
[ "$form" = full ] || part=8
export TELVO_PULLED_PART=$part
if [ "$form" = full ]; then
  build host pulled telvocsp telvopkcs11
  build windows pulled telvocsp telvopkcs11 telvopkcs11_native winscard_forwarder
fi
for name in ${2:-host windows}; do in_build "$name"; done
runs=$(awk '/^ok/ { count += $2 } END { print count + 0 }' "$report")
[ "$runs" -gt 0 ] || exit 1
finish "$runs" "$(grep -c '^FOUND' "$report")" "$(grep -v '^ ' "$report" | sed 's/^ok *//; s/^FOUND */FOUND: /' | paste -sd';' | sed 's/;/; /g')"
