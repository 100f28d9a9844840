#!/usr/bin/env bash
# The main job on its embedded default: builds the library and the zureader host, then writes,
# seeks and reads back a sample through the library in a scratch folder (no network, no user files).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh" native >&2
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
export ZUREADER_HOME="$scratch/home"
if [ $# -gt 0 ]; then
  exec "$root/out/native/bin/zureader" "$@"
fi
"$root/out/native/bin/zureader" demo "$scratch"
"$root/out/native/bin/zureader" info "$root/README.md"
