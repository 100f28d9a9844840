#!/usr/bin/env bash
# Runs a Windows program under Wine with a prefix of its own next to the build, quietly.
set -euo pipefail
program="$1"; shift
build_dir="$(cd "$(dirname "$program")" && while [ ! -f CMakeCache.txt ] && [ "$PWD" != / ]; do cd ..; done; pwd)"
export WINEPREFIX="${WINEPREFIX:-$build_dir/wineprefix}"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
wine=/usr/lib/wine/wine64
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  "$wine" wineboot --init >/dev/null 2>&1 || true
fi
# Now and then Wine's client loses its server ("wine client error:0: recvmsg: Connection reset by
# peer") and the program never runs; such a start is tried again, up to three times. The program
# runs as a child, so a stop meant for this script (a test's time-out) is passed on to it.
set +e
errors="$(mktemp)"
child=""
trap '[ -n "$child" ] && kill -TERM "$child" 2> /dev/null' TERM INT
trap 'rm -f "$errors"' EXIT
for attempt in 1 2 3; do
  : > "$errors"
  "$wine" "$program" "$@" <&0 2> >(tee "$errors" >&2) &
  child=$!
  wait "$child"
  status=$?
  # A stop that came while waiting: wait once more for the program to end.
  kill -0 "$child" 2> /dev/null && { wait "$child"; status=$?; }
  child=""
  if [ "$status" -eq 0 ] || ! grep -q "^wine client error" "$errors"; then
    exit "$status"
  fi
  sleep 1
done
exit "$status"
