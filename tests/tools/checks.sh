# The counting checks of the end-to-end scripts, sourced by them. check NAME COMMAND... counts a
# pass or prints the failure; check_status NAME EXPECTED STATUS checks an exit status and shows the
# one found. The script ends with checks_summary, whose status is its own. wait_for_end PID SECONDS
# waits for a process to end, looking every 20 ms: tail --pid looks only once a second, too coarse
# for the time bounds the scripts check.
failures=0
passes=0
check() {
  local name="$1"; shift
  if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name" >&2; failures=$((failures + 1)); fi
}
check_status() {
  local name="$1" expected="$2" status="$3"
  check "$name exits with $expected" test "$status" -eq "$expected"
  [ "$status" -eq "$expected" ] || echo "  ($name exited with $status)" >&2
}
checks_summary() {
  echo "$passes checks passed, $failures failed"
  [ "$failures" -eq 0 ]
}
wait_for_end() {
  local pid="$1" seconds="$2" i
  for ((i = 0; i < seconds * 50; i++)); do
    kill -0 "$pid" 2> /dev/null || return 0
    sleep 0.02
  done
  return 1
}
