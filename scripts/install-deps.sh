#!/usr/bin/env bash
# Installs the Debian packages listed in scripts/packages.txt that are missing. Needs root (or sudo).
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
mapfile -t wanted < <(grep -vE '^\s*(#|$)' "$here/packages.txt")
missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "installing: ${missing[*]}" >&2
# Servers the tests start themselves must not be started system-wide by their packages.
policy=/usr/sbin/policy-rc.d
created_policy=0
if [ ! -e "$policy" ]; then
  printf '#!/bin/sh\nexit 101\n' | $sudo tee "$policy" >/dev/null
  $sudo chmod +x "$policy"
  created_policy=1
fi
trap '[ "$created_policy" = 1 ] && $sudo rm -f "$policy"' EXIT
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
