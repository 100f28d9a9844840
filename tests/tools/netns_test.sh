#!/usr/bin/env bash
# zureader's discovery and multicast across two network namespaces joined by a veth pair, each
# with a default route and multicast routed on the veth, so that broadcasts and multicasts leave
# one "machine" and reach the other as on a real network:
# - find-server finds an announcer in the other namespace (and prints its m01p:// location), not
#   one in its own, and asks with its menu when two answer;
# - find-server without an answer gives up after 5.5 s; announce ends cleanly on SIGTERM;
# - cat udp://@GROUP:PORT receives a multicast stream sent from the other namespace;
# - a host name whose lookup never gets an answer (a name server that takes queries and drops
#   them) fails within the reader's time-out.
# Each namespace gets its own /etc/hosts (ip netns exec mounts /etc/netns/NAME/*), so that this
# machine's name resolves to the namespace's own address, as it would on a real machine.
# Needs root and network namespaces; without them it says why and exits with 77, which ctest
# reports as skipped.
# Usage: netns_test.sh ZUREADER
set -uo pipefail
cli="$1"
skip_status=77
ns_a="zu-a-$$"
ns_b="zu-b-$$"
veth_a="zua$$"
veth_b="zub$$"
address_a=10.231.0.1
address_b=10.231.0.2
machine="$(hostname)"
scratch="$(mktemp -d)"
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2> /dev/null; done
  for pid in "${pids[@]}"; do timeout 10 tail --pid="$pid" -f /dev/null 2> /dev/null; done
  ip netns del "$ns_a" 2> /dev/null
  ip netns del "$ns_b" 2> /dev/null
  rm -rf "/etc/netns/$ns_a" "/etc/netns/$ns_b" "$scratch"
  rmdir /etc/netns 2> /dev/null
}
trap cleanup EXIT
trap "exit 143" TERM INT
# shellcheck source=checks.sh
. "$(dirname "$0")/checks.sh"
millis() { echo $(( $(date +%s%N) / 1000000 )); }

make_namespaces() {
  ip netns add "$ns_a" && ip netns add "$ns_b" &&
    ip link add "$veth_a" type veth peer name "$veth_b" &&
    ip link set "$veth_a" netns "$ns_a" && ip link set "$veth_b" netns "$ns_b" || return 1
  local ns veth address
  for ns in a b; do
    if [ "$ns" = a ]; then ns="$ns_a" veth="$veth_a" address="$address_a"; else ns="$ns_b" veth="$veth_b" address="$address_b"; fi
    ip -n "$ns" link set lo up && ip -n "$ns" addr add "$address/24" dev "$veth" && ip -n "$ns" link set "$veth" up &&
      ip -n "$ns" route add default dev "$veth" && ip -n "$ns" route add 224.0.0.0/4 dev "$veth" || return 1
    mkdir -p "/etc/netns/$ns" || return 1
    printf '127.0.0.1 localhost\n%s %s\n' "$address" "$machine" > "/etc/netns/$ns/hosts"
    # A name server that takes every query and answers none: a lookup blocks until its own
    # time-out, many seconds later.
    printf 'nameserver 127.0.0.1\noptions timeout:5 attempts:2\n' > "/etc/netns/$ns/resolv.conf"
  done
}
if [ "$(id -u)" -ne 0 ] || ! make_namespaces 2> "$scratch/err"; then
  echo "SKIPPED: network namespaces cannot be made here ($(head -c 200 "$scratch/err"))"
  exit "$skip_status"
fi

# Starts an announcer in a namespace and waits (up to 10 s) until it answers.
announce() {
  local ns="$1" address="$2" port="$3" log="$scratch/announce-$2-$3"
  ip netns exec "$ns" "$cli" announce "$address" "$port" > "$log" 2>&1 & pids+=($!)
  for _ in $(seq 100); do grep -q '^announcing' "$log" && return 0; sleep 0.1; done
  echo "the announcer $address:$port did not start: $(cat "$log")" >&2
  return 1
}
stop_announcers() {
  local pid
  for pid in "${pids[@]}"; do kill -TERM "$pid" 2> /dev/null; done
  for pid in "${pids[@]}"; do timeout 10 tail --pid="$pid" -f /dev/null; done
  pids=()
}
find_server() { timeout 30 ip netns exec "$1" "$cli" find-server > "$scratch/found" 2> "$scratch/err"; }

# No announcer anywhere: 5.5 s (plus or minus 0.3 s), then exit 28 with one line.
start=$(millis)
find_server "$ns_b" < /dev/null
check_status "find-server without an announcer" 28 "$?"
elapsed=$(( $(millis) - start ))
# ip netns exec and the program's start-up add a little to the locator's own 5.5 s.
check "find-server without an announcer gives up after 5.5 s (took $elapsed ms)" test "$elapsed" -ge 5200 -a "$elapsed" -le 6300
check "find-server without an announcer says so" grep -q 'zureader: no media server answered within 5.5 s' "$scratch/err"

# One announcer in the other namespace is found; announce ends on SIGTERM within one cycle.
announce "$ns_a" "$address_a" 8080
find_server "$ns_b" < /dev/null
check_status "find-server across namespaces" 0 "$?"
check "find-server prints the other namespace's location" test "$(cat "$scratch/found")" = "m01p://$address_a:8080"
find_server "$ns_a" < /dev/null
check_status "find-server beside the announcer (own machine passed over)" 28 "$?"
start=$(millis)
announcer="${pids[0]}"
kill -TERM "$announcer"
wait_for_end "$announcer" 10
wait "$announcer"
check_status "announce ended by SIGTERM" 0 "$?"
elapsed=$(( $(millis) - start ))
check "announce ends within 5.2 s of SIGTERM (took $elapsed ms)" test "$elapsed" -le 5200
pids=()

# Two announcers: the menu lists both, and the line typed chooses; no line cancels.
announce "$ns_a" "$address_a" 8080 && announce "$ns_a" "$address_a" 9090
echo 2 | find_server "$ns_b"
check_status "find-server with a choice" 0 "$?"
check "the menu lists the first announcer" grep -q "^  [12]) $machine:$address_a:8080\$" "$scratch/err"
check "the menu lists the second announcer" grep -q "^  [12]) $machine:$address_a:9090\$" "$scratch/err"
chosen="$(sed -n "s/^  2) $machine:\([0-9.]*\):\([0-9]*\)\$/m01p:\/\/\1:\2/p" "$scratch/err")"
check "find-server prints the chosen location" test -n "$chosen" -a "$(cat "$scratch/found")" = "$chosen"
find_server "$ns_b" < /dev/null
check_status "find-server with the choice cancelled" 1 "$?"
stop_announcers

# A multicast stream from the other namespace: every datagram, whole and in order.
group=239.255.77.1
port=5600
timeout 30 ip netns exec "$ns_a" "$cli" cat "udp://@$group:$port" --truncate 263200 -o "$scratch/multicast.bin" \
  2> "$scratch/err" & receiver=$!
sleep 1
ip netns exec "$ns_b" /usr/bin/python3 -c '
import socket, sys, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 2)
for n in range(400):
    s.sendto(n.to_bytes(4, "big") * 329, (sys.argv[1], int(sys.argv[2])))
    time.sleep(0.002)' "$group" "$port"
wait "$receiver"
check_status "cat udp://@GROUP:PORT" 0 "$?"
check "cat udp://@GROUP:PORT receives the other namespace's multicast in order" /usr/bin/python3 -c '
import sys
data = open(sys.argv[1], "rb").read()
sys.exit(0 if data == b"".join(n.to_bytes(4, "big") * 329 for n in range(200)) else "%d bytes" % len(data))' \
  "$scratch/multicast.bin"

# A lookup that never gets an answer: the reader's time-out bounds it, with a clear line.
ip netns exec "$ns_b" socat -u UDP4-RECV:53,bind=127.0.0.1 OPEN:/dev/null & pids+=($!)
sleep 0.3
start=$(millis)
timeout 30 ip netns exec "$ns_b" "$cli" cat tcp://media.zureader-test.example:80 --timeout 1500 > /dev/null 2> "$scratch/err"
check_status "cat tcp://NAME with a silent name server" 28 "$?"
elapsed=$(( $(millis) - start ))
check "the lookup gives up within the 1.5 s time-out (took $elapsed ms)" test "$elapsed" -ge 1400 -a "$elapsed" -le 3000
check "the silent lookup says so in one line" grep -q 'zureader: cannot connect to tcp://media.zureader-test.example:80: looking up' "$scratch/err"

checks_summary
