#!/usr/bin/env bash
# zureader cat over the command line's socket locations on 127.0.0.1, with socat and Python as the
# peers: tcp:// by address and by name, udp://:PORT until the cut and until an interrupt, and one
# clear line with the exit status of its kind for a refused connection, a name that does not
# resolve and malformed locations. Runs the Windows program under Wine as well (its second
# argument); the peers are always native.
# Usage: socket_cli_test.sh ZUREADER [EMULATOR]
set -uo pipefail
cli="$1"
emulator="${2:-}"
scratch="$(mktemp -d)"
peers=()
cleanup() { for pid in "${peers[@]}"; do kill "$pid" 2> /dev/null; done; rm -rf "$scratch"; }
trap cleanup EXIT
trap "exit 143" TERM INT
# shellcheck source=checks.sh
. "$(dirname "$0")/checks.sh"

native_path() { if [ -n "$emulator" ]; then echo "Z:${1//\//\\}"; else echo "$1"; fi; }
run() { if [ -n "$emulator" ]; then "$emulator" "$cli" "$@"; else "$cli" "$@"; fi; }
read -r tcp_port udp_port closed_port < <(/usr/bin/python3 "$(dirname "$0")/../servers/free_ports.py" 3 0 | tr '\n' ' ')
# Waits up to 10 s for a TCP listener on port.
wait_listening() { for _ in $(seq 100); do socat -u "TCP4:127.0.0.1:$1" OPEN:/dev/null 2> /dev/null && return 0; sleep 0.1; done; return 1; }

head -c 5000000 /dev/urandom > "$scratch/in.bin"

# TCP: the bytes a listener sends arrive whole, by address and by name, and the copy ends when the
# peer closes.
socat -U "TCP4-LISTEN:$tcp_port,bind=127.0.0.1,reuseaddr,fork" "FILE:$scratch/in.bin" & peers+=($!)
wait_listening "$tcp_port" || echo "socat did not listen on $tcp_port" >&2
for host in 127.0.0.1 localhost; do
  timeout 60 "${emulator:-env}" "$cli" cat "tcp://$host:$tcp_port" -o "$(native_path "$scratch/tcp.bin")" 2> "$scratch/err"
  check_status "cat tcp://$host" 0 "$?"
  check "cat tcp://$host copies the stream" cmp -s "$scratch/in.bin" "$scratch/tcp.bin"
done

# UDP: each datagram read whole; the cut ends the copy at a datagram's border or inside one.
python_sender() {
  # Sends datagrams of 1316 bytes numbered from 0 to 127.0.0.1:port every 2 ms until killed; exec,
  # so that the pid a caller kills is Python's.
  exec /usr/bin/python3 -c '
import socket, sys, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
n = 0
while True:
    s.sendto(n.to_bytes(4, "big") * 329, ("127.0.0.1", int(sys.argv[1])))
    n += 1
    time.sleep(0.002)' "$1"
}
datagrams_in_order() {
  /usr/bin/python3 -c '
import sys
data = open(sys.argv[1], "rb").read()
if len(data) != int(sys.argv[2]):
    sys.exit("%d bytes" % len(data))
first = int.from_bytes(data[:4], "big")
for i in range(0, len(data), 1316):
    piece = data[i:i + 1316]
    if piece != (first + i // 1316).to_bytes(4, "big") * 329 if len(piece) == 1316 else piece != data[i:i + 4] * (len(piece) // 4):
        sys.exit("datagram %d differs" % (i // 1316))' "$1" "$2"
}
python_sender "$udp_port" & sender=$!; peers+=("$sender")
timeout 30 "${emulator:-env}" "$cli" cat "udp://:$udp_port" --truncate 131600 -o "$(native_path "$scratch/udp.bin")" 2> "$scratch/err"
check_status "cat udp://:PORT --truncate" 0 "$?"
check "cat udp://:PORT gives whole datagrams, in order" datagrams_in_order "$scratch/udp.bin" 131600
timeout 30 "${emulator:-env}" "$cli" cat "udp://:$udp_port" --truncate 2000 -o "$(native_path "$scratch/cut.bin")" 2> "$scratch/err"
check "a cut inside a datagram gives its first bytes" datagrams_in_order "$scratch/cut.bin" 2000
kill "$sender"

# SIGTERM (an interrupt, which a script's background job cannot get) ends a datagram copy cleanly,
# whether datagrams flow or not (a receive blocked with nothing to read).
if [ -z "$emulator" ]; then
  for flowing in yes no; do
    [ "$flowing" = yes ] && { python_sender "$udp_port" & sender=$!; peers+=("$sender"); }
    "$cli" cat "udp://:$udp_port" -o "$scratch/interrupted.bin" 2> "$scratch/err" & receiver=$!
    sleep 1
    start=$(date +%s%N)
    kill -TERM "$receiver"
    wait_for_end "$receiver" 5
    wait "$receiver"
    check_status "cat udp:// ended by SIGTERM ($flowing datagrams)" 0 "$?"
    check "cat udp:// ends within 1 s of SIGTERM ($flowing datagrams)" test $(( ($(date +%s%N) - start) / 1000000 )) -lt 1000
    [ "$flowing" = yes ] && { kill "$sender"; check "an interrupted copy keeps whole datagrams" \
      test $(( $(stat -c %s "$scratch/interrupted.bin") % 1316 )) -eq 0 -a -s "$scratch/interrupted.bin"; }
  done
fi

# Bad input: one line that says why, the exit status of its kind, and nothing hangs.
for bad in "7 tcp://127.0.0.1:$closed_port" "7 tcp://no-such-host.invalid:80" "3 tcp://127.0.0.1:65536" \
           "3 tcp://127.0.0.1:99999999999" "3 tcp://127.0.0.1" "3 tcp://:80" "3 udp://127.0.0.1:$udp_port" \
           "3 udp://@not-a-group:5000" "3 udp://:0"; do
  start=$(date +%s)
  timeout 30 "${emulator:-env}" "$cli" cat "${bad#* }" > "$scratch/out" 2> "$scratch/err" < /dev/null
  check_status "cat ${bad#* }" "${bad%% *}" "$?"
  check "cat ${bad#* } says why in one line" test "$(grep -c 'zureader: cannot' "$scratch/err")" -eq 1
  check "cat ${bad#* } ends within 15 s" test $(( $(date +%s) - start )) -lt 15
done
check "zureader --help names the sockets" bash -c "$(declare -f run); cli='$cli' emulator='$emulator' run --help | grep -q 'udp://@GROUP:PORT'"

checks_summary
