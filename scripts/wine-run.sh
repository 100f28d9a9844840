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
exec "$wine" "$program" "$@"
