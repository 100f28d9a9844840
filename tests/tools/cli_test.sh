#!/usr/bin/env bash
# The zureader host end to end: cat to a file and to a pipe, info, the demo, and one clear error
# line with a non-zero status for bad input. Usage: cli_test.sh ZUREADER [EMULATOR]
set -uo pipefail
cli="$1"
emulator="${2:-}"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
export ZUREADER_HOME="$scratch/home"
failures=0
passes=0

# Windows programs under Wine see Unix paths through the Z: drive.
native_path() { if [ -n "$emulator" ]; then echo "Z:${1//\//\\}"; else echo "$1"; fi; }
run() { if [ -n "$emulator" ]; then "$emulator" "$cli" "$@"; else "$cli" "$@"; fi; }
check() {
  local name="$1"; shift
  if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name" >&2; failures=$((failures + 1)); fi
}

head -c 3000000 /dev/urandom > "$scratch/in.bin"
printf 'Grüße\n' > "$scratch/Grüße.txt"

run cat "$(native_path "$scratch/in.bin")" -o "$(native_path "$scratch/out.bin")" 2> "$scratch/err"
check "cat -o copies the bytes" cmp -s "$scratch/in.bin" "$scratch/out.bin"
check "no progress bar when standard error is not a terminal" test ! -s "$scratch/err"

run cat "$(native_path "$scratch/in.bin")" | cat > "$scratch/piped.bin"
check "cat to a pipe copies the bytes" cmp -s "$scratch/in.bin" "$scratch/piped.bin"

run cat "$(native_path "$scratch/Grüße.txt")" > "$scratch/utf8.txt"
check "non-ASCII location" cmp -s "$scratch/Grüße.txt" "$scratch/utf8.txt"

info="$(run info "$(native_path "$scratch/in.bin")" --prop Location | tr -d '\r')"
check "info prints the type" grep -q '^Type: 0 (local file)$' <<< "$info"
check "info prints the length" grep -q '^Length: 3000000$' <<< "$info"
check "info prints a requested property" grep -q '^Location: $' <<< "$info"
check "info opens its source read-only" grep -q '^Read-only: yes$' <<< "$info"

demo="$(run demo "$(native_path "$scratch/demo")" | tr -d '\r')"
check "demo reads the sample back" grep -q 'Grüße aus der Bibliothek' <<< "$demo"
check "demo deletes its file on close" test ! -e "$scratch/demo/demo/sample.txt"

for bad in "cat $(native_path "$scratch/missing.bin")" "cat" "info" "cat x --bogus" "frobnicate" \
           "cat $(native_path "$scratch")"; do
  # shellcheck disable=SC2086
  run $bad > "$scratch/out" 2> "$scratch/err"
  status=$?
  check "'$bad' fails" test "$status" -ne 0
  check "'$bad' says why in one line" test "$(grep -c 'zureader: ' "$scratch/err")" -eq 1
done
check "cat --help" bash -c "$(declare -f run native_path); cli='$cli' emulator='$emulator' run cat --help | grep -q 'usage: zureader cat'"

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
