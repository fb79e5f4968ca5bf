# To be sourced, with `system` (Windows, Linux), `folder` and the array `run_command` set: switches the provider's log on
# and off for every process that starts from now on, and reads it. On Windows this changes the registry of the whole
# prefix, so the test needs a separate prefix (telvo_prefix).
log=$folder/csp.log
log_start=1  # the first byte that `lines` reads
log_key='SOFTWARE\Brenholt Devices Ltd.\TELVO SDK'

# set_log on|off
if [ "$system" = Windows ]; then
  set_log() {
    if [ "$1" = off ]; then
      "${run_command[@]}" reg delete "HKLM\\$log_key" /f >/dev/null 2>&1 || true
    else
      "${run_command[@]}" reg add "HKLM\\$log_key" /v CSPLOG /t REG_SZ /d 1 /f >/dev/null
      "${run_command[@]}" reg add "HKLM\\$log_key" /v CSPDIR /t REG_SZ /d "Z:$(echo "$log" | tr / '\\')" /f >/dev/null
    fi
  }
else
  export TELVO_REGISTRY="$folder/registry"
  set_log() {
    if [ "$1" = off ]; then : >"$TELVO_REGISTRY"; else printf '[%s]\nCSPLOG=sz:1\nCSPDIR=sz:%s\n' "$log_key" "$log" >"$TELVO_REGISTRY"; fi
  }
fi

# Ends the test, and prints the end of the log.
fail() { echo "FAILED: $*"; [ -f "$log" ] && tail -n 40 "$log"; exit 1; }
# How many lines of the log contain a text.
lines() { tail -c "+$log_start" "$log" | grep -c -- "$1" || true; }
# await_lines COUNT TEXT
await_lines() {
  for _ in $(seq 100); do [ "$(lines "$2")" -ge "$1" ] && return; sleep 0.1; done
  fail "'$2' is not logged $1 times"
}
