#!/bin/bash
# guides.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# Each command line in docs/guides that begins with telvotool exits with 0: page by page, each on an empty card.
guides=$(cd "$(dirname "$0")/../../docs/guides" && pwd)
. "$(dirname "$0")/telvotool_stand.sh"

drive=$("${run[@]}" winepath -u 'C:\' | tr -d '\r')
trap 'rm -f "$drive/csp.log"; clean_up' EXIT  # the page that switches the log on
cp pin pin.txt
cp text letter.pdf
openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj "/CN=An authority for a test" 2>/dev/null
expect 0 register

# answer NAME FILE: writes the authority's certificate for NAME.p10 to FILE.
answer() {
  openssl req -inform DER -in "$1.p10" -out request.pem
  openssl x509 -req -in request.pem -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -outform DER -out "$2" 2>/dev/null
}

# run_line WORD...: a line of a guide, without "telvotool".
run_line() {
  echo "  telvotool $*"
  if [ "$1" = import-cert ]; then answer "$2" "$3"; fi
  expect 0 "$@"
}

for page in "$guides"/*.md; do
  mapfile -t lines < <(sed -n 's/^  *\(telvotool .*\)$/\1/p' "$page")
  [ "${#lines[@]}" -gt 0 ] || [ "$(basename "$page")" = README.md ] || fail "$page has no line to try"
  echo "$(basename "$page")"
  rm -rf state
  for line in "${lines[@]}"; do
    line=${line#telvotool }
    eval "words=(${line//\\/\\\\})"  # our own pages: quotes are those of a shell, backslashes are not
    run_line "${words[@]}"
  done
done
echo "$checks lines"
