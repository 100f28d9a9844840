#!/usr/bin/env bash
# Recordings end to end: zureader record writes chunk files beside a header, zureader cat reads
# them back as one stream, and cat --follow reads a recording while another process writes it,
# ending once the writer has closed it. A writer killed (kill -9, under Wine the Windows program's
# process) at random moments loses no byte its header announced: the recording then reads exactly
# those bytes, the source's beginning. With the loopback servers (ZU_TEST_SERVERS) the same for the
# odd server's known stream and icecast's live MP3, which ffprobe must decode.
# Usage: record_test.sh ZUREADER [EMULATOR]
set -uo pipefail
cli="$1"
emulator="${2:-}"
scratch="$(mktemp -d)"
feeder=""
trap '[ -n "$feeder" ] && kill "$feeder" 2> /dev/null; rm -rf "$scratch"' EXIT
export ZUREADER_HOME="$scratch/home"
failures=0
passes=0

native_path() { if [ -n "$emulator" ]; then echo "Z:${1//\//\\}"; else echo "$1"; fi; }
run() { if [ -n "$emulator" ]; then "$emulator" "$cli" "$@"; else "$cli" "$@"; fi; }
# run with a limit in seconds, for the commands that could go on for ever when something is wrong.
run_for() { local limit="$1"; shift; timeout "$limit" bash -c "$(declare -f run); cli='$cli' emulator='$emulator' run \"\$@\"" run "$@"; }
check() {
  local name="$1"; shift
  if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name" >&2; failures=$((failures + 1)); fi
}
# Waits up to 5 s for a recording's header to be written whole.
wait_for_header() { local i; for i in $(seq 100); do [ "$(stat -c %s "$1" 2> /dev/null || echo 0)" -ge 24 ] && return; sleep 0.05; done; }
# The length the header file announces (little-endian, after "ZUSR" and the version).
announced() { od -An -t d8 -j 8 -N 8 "$1" | tr -d ' '; }

# The writer's own process, found among the descendants of the background job that started it:
# the program itself, or under Wine the Windows program's process.
writer_process() {
  local pids="$writer" pid program
  program="$(readlink -f "$cli")"
  while [ -n "$pids" ]; do
    for pid in $pids; do
      case "$(readlink "/proc/$pid/exe")" in
        "$program") [ -z "$emulator" ] && { echo "$pid"; return; } ;;
        *wine*) [ -n "$emulator" ] && { echo "$pid"; return; } ;;
      esac
    done
    # shellcheck disable=SC2086
    pids="$(pgrep -P "$(echo $pids | tr ' ' ,)")"
  done
}

head -c 3000000 /dev/urandom > "$scratch/in.bin"

# A whole file in chunks of 1 MB: three full, one partial, each under its final name at the end.
run record "$(native_path "$scratch/in.bin")" "$(native_path "$scratch/rec/show.ts")" --chunk-size 1000000 2> "$scratch/err"
check "record exits with 0" test "$?" -eq 0
check "record names every chunk final" test -f "$scratch/rec/show-2.ts.cnk" -a ! -e "$scratch/rec/show-2.ts.cnk.tmp"
check "record's header announces the whole source" test "$(announced "$scratch/rec/show.ts")" -eq 3000000
run cat "$(native_path "$scratch/rec/show.ts")" -o "$(native_path "$scratch/out.bin")"
check "cat reads a recording as one stream" cmp -s "$scratch/in.bin" "$scratch/out.bin"
run cat "$(native_path "$scratch/rec/show.ts")" --offset 1999990 --length 20 > "$scratch/part.bin"
check "cat seeks across a recording's chunks" cmp -s <(tail -c +1999991 "$scratch/in.bin" | head -c 20) "$scratch/part.bin"

# A rolling buffer: only the chunks within --keep of the end stay.
run record "$(native_path "$scratch/in.bin")" "$(native_path "$scratch/roll/show.ts")" --chunk-size 500000 --keep 1200000
check "record --keep deletes the old chunks" test ! -e "$scratch/roll/show-2.ts.cnk" -a -f "$scratch/roll/show-3.ts.cnk"
check "record --keep keeps the chunks within reach" test -f "$scratch/roll/show-5.ts.cnk"
run_for 30 cat "$(native_path "$scratch/roll/show.ts")" --follow > "$scratch/kept.bin"
check "cat --follow of a recording whose beginning is gone ends" test "$?" -eq 0
check "cat --follow of a recording whose beginning is gone reads from the oldest kept chunk" cmp -s <(tail -c +1500001 "$scratch/in.bin") "$scratch/kept.bin"

for bad in "record" "record a" "record a b c" "record a b --chunk-size 0" "record a b --keep x" "record a b --seconds 1.5"; do
  # shellcheck disable=SC2086
  run $bad > /dev/null 2> "$scratch/err"
  check "'$bad' is a bad command line" test "$?" -eq 2
done
run cat "$(native_path "$scratch/in.bin")" --follow > /dev/null 2> "$scratch/err"
check "cat --follow refuses what is not a recording" test "$?" -eq 2 -a "$(grep -c 'zureader: ' "$scratch/err")" -eq 1

# A source that trickles: the source's bytes through a pipe, 64 KiB every 20 ms.
trickle() {
  local blocks=$(( ($(wc -c < "$1") + 65535) / 65536 )) i
  for ((i = 0; i < blocks; i++)); do
    dd if="$1" bs=65536 skip="$i" count=1 status=none || return
    sleep 0.02
  done
}
# Starts a writer recording the trickle into $1 in chunks of $2 bytes; sets writer and feeder.
record_trickle() {
  mkfifo "$scratch/pipe"
  trickle "$scratch/in.bin" > "$scratch/pipe" &
  feeder=$!
  run record "$(native_path "$scratch/pipe")" "$(native_path "$1")" --chunk-size "$2" &
  writer=$!
}
stop_trickle() {
  kill "$feeder" 2> /dev/null
  wait "$feeder" 2> /dev/null
  feeder=""
  rm -f "$scratch/pipe"
}
# Kills a writer of the trickle at $1 random moments, each within $2 ms of its header being there.
# After each kill a reader gets exactly the announced bytes, the source's beginning, and a follower
# of the killed recording ends.
kill_rounds() {
  local rounds="$1" window="$2" killed_ok=0 round length victim
  local header="$scratch/kill/show.ts" copy="$scratch/kill.bin" pause
  for round in $(seq "$rounds"); do
    rm -rf "$scratch/kill" "$copy"
    record_trickle "$header" 150000
    wait_for_header "$header"
    pause=$((RANDOM % window))
    sleep "$(printf "%d.%03d" $((pause / 1000)) $((pause % 1000)))"
    victim="$(writer_process)"
    if [ -z "$victim" ] || ! kill -9 "$victim" 2> /dev/null; then
      echo "round $round: the writer ended before it was killed" >&2
      wait "$writer"
      stop_trickle
      continue
    fi
    wait "$writer" 2> /dev/null
    stop_trickle
    if [ "$(stat -c %s "$header" 2> /dev/null || echo 0)" -lt 24 ]; then
      # Nothing was announced, so nothing can be lost.
      echo "round $round: killed before the header was written"
      killed_ok=$((killed_ok + 1))
      continue
    fi
    length="$(announced "$header")"
    run_for 30 cat "$(native_path "$header")" -o "$(native_path "$copy")"
    if [ "$?" -eq 0 ] && [ "$(wc -c < "$copy")" -eq "$length" ] && cmp -s <(head -c "$length" "$scratch/in.bin") "$copy"; then
      killed_ok=$((killed_ok + 1))
    else
      echo "round $round: $length bytes announced, $(wc -c < "$copy" 2> /dev/null) read" >&2
    fi
    # A Windows program takes seconds to start under Wine: there the last round alone follows.
    [ -n "$emulator" ] && [ "$round" -lt "$rounds" ] && continue
    run_for 30 cat "$(native_path "$header")" --follow > /dev/null
    check "round $round: a follower of a killed writer ends" test "$?" -eq 0
  done
  echo "writer killed $rounds times: $killed_ok recordings read exactly their announced bytes"
  check "every killed recording reads exactly its announced bytes" test "$killed_ok" -eq "$rounds"
}

if [ -z "$emulator" ]; then
  # Writer and follower: the follower's bytes are the source's, and it ends by itself.
  record_trickle "$scratch/live/show.ts" 400000
  wait_for_header "$scratch/live/show.ts"
  timeout 60 "$cli" cat "$scratch/live/show.ts" --follow -o "$scratch/followed.bin"
  check "cat --follow ends once the writer has closed" test "$?" -eq 0
  wait "$writer"
  check "cat --follow copies every byte while the recording grows" cmp -s "$scratch/in.bin" "$scratch/followed.bin"
  stop_trickle

  # The writer killed at 20 random moments: every announced byte is there, and nothing else.
  kill_rounds 20 700
else
  # The same with the Windows programs, 5 times: the writer is the Windows program's own process.
  kill_rounds 5 700
fi

network_checks() {
  local -A server
  local name value
  while IFS='=' read -r name value; do server[$name]="$value"; done < "$ZU_TEST_SERVERS"
  local odd="http://127.0.0.1:${server[ODD_HTTP]}"
  # The odd server's stream of known bytes, 2000 bytes every 150 ms: writer and follower at once.
  run record "$odd/radio?metaint=2000&blocks=16&pause=150" "$(native_path "$scratch/odd/show.bin")" \
    --chunk-size 5000 &
  local writer=$!
  wait_for_header "$scratch/odd/show.bin"
  run_for 60 cat "$(native_path "$scratch/odd/show.bin")" --follow \
    > "$scratch/odd.bin"
  wait "$writer"
  check "record of a live stream exits with 0" test "$?" -eq 0
  /usr/bin/python3 -c "import sys; sys.path.insert(0, sys.argv[1]); from pattern import pattern_bytes; sys.stdout.buffer.write(pattern_bytes(32000, 3))" \
    "$(dirname "$0")/../servers" > "$scratch/odd-expected.bin"
  check "a follower of a live recording gets the stream's bytes" cmp -s "$scratch/odd-expected.bin" "$scratch/odd.bin"


  if [ -n "${server[ICECAST]:-}" ]; then
    local radio="http://127.0.0.1:${server[ICECAST]}${server[ICECAST_MOUNT]}"
    run record "$radio" "$(native_path "$scratch/ice/radio.mp3")" --chunk-size 20000 --seconds 3 &
    writer=$!
    wait_for_header "$scratch/ice/radio.mp3"
    run_for 60 cat "$(native_path "$scratch/ice/radio.mp3")" --follow \
      > "$scratch/ice.mp3"
    wait "$writer"
    run cat "$(native_path "$scratch/ice/radio.mp3")" > "$scratch/ice-whole.mp3"
    check "a follower of icecast's recording gets the recording's bytes" cmp -s "$scratch/ice-whole.mp3" "$scratch/ice.mp3"
    check "the followed recording is MP3" \
      test "$(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$scratch/ice.mp3")" = mp3
    check "three seconds of icecast were recorded" test "$(wc -c < "$scratch/ice.mp3")" -ge $((${server[ICECAST_BITRATE]} / 8 * 2))
  fi
}

if [ -n "${ZU_TEST_SERVERS:-}" ] && [ -f "$ZU_TEST_SERVERS" ]; then network_checks; fi

echo "$passes checks passed, $failures failed"
[ "$failures" -eq 0 ]
