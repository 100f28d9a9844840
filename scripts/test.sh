#!/usr/bin/env bash
# Builds and runs every test: the native build, the ASan+UBSan build, the ThreadSanitizer build of
# the threaded suites, and the Windows build under Wine. Installs what it needs first.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/install-deps.sh"

flavours=("$@")
[ ${#flavours[@]} -gt 0 ] || flavours=(native asan tsan win)

user_filter="${GTEST_FILTER:-}"
for flavour in "${flavours[@]}"; do
  echo "=== $flavour: build" >&2
  "$root/scripts/build.sh" "$flavour"
  echo "=== $flavour: test" >&2
  filter="$user_filter"
  # ThreadSanitizer runs the suites whose code has more than one thread.
  [ "$flavour" = tsan ] && filter="${ZU_TSAN_FILTER:-*Thread*:*Concurren*:*Buffer*:*Circl*:*Splitter*:*Socket*:*Locator*:*Transcod*}"
  # A race stops the run where it is found, with both stacks of a lock-order report.
  [ "$flavour" = tsan ] && export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1 second_deadlock_stack=1}"
  # A test whose memory runs away is stopped with a report instead of taking the machine down.
  [ "$flavour" = asan ] && export ASAN_OPTIONS="${ASAN_OPTIONS:-hard_rss_limit_mb=6144}"
  # An empty GTEST_FILTER would select no test at all.
  if [ -n "$filter" ]; then export GTEST_FILTER="$filter"; else unset GTEST_FILTER; fi
  ctest --test-dir "$root/out/${ZU_OUT_PREFIX:-}$flavour" --output-on-failure --timeout 900
done
