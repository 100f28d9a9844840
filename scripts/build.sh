#!/usr/bin/env bash
# Configures and builds one flavour into out/FLAVOUR: native, asan (AddressSanitizer and
# UndefinedBehaviorSanitizer), tsan (ThreadSanitizer) or win (mingw-w64, run under Wine).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
flavour="${1:-native}"
shift || true
# ZU_OUT_PREFIX keeps builds of parallel work apart (out/PREFIXnative, ...).
out="$root/out/${ZU_OUT_PREFIX:-}$flavour"
args=(-G Ninja -S "$root" -B "$out" -DCMAKE_BUILD_TYPE=RelWithDebInfo)
case "$flavour" in
  native) args+=(-DZU_BUILD_BENCH=ON) ;;
  asan) args+=(-DZU_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=Debug) ;;
  tsan) args+=(-DZU_SANITIZE=thread) ;;
  win) args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake") ;;
  *) echo "unknown flavour $flavour" >&2; exit 2 ;;
esac
cmake "${args[@]}" "$@" >/dev/null
cmake --build "$out" -j "${ZU_JOBS:-2}"
