# To be sourced, with `system` (Windows, Linux), `folder` and the array `run_command` set: switches the provider's log on
# and off for every process that starts from now on. On Windows that is the registry of the whole prefix, so that the test
# must run alone.
log=$folder/csp.log
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
