#!/usr/bin/env python3
"""Peers the socket readers' tests talk to on 127.0.0.1. Each mode ends by itself within its own
time limit, and its exit status says whether the reader did its part (0) or not (1).

  tcp-send PORT COUNT        connects, sends COUNT pattern bytes, half-closes, and expects the
                             same bytes back before the end of the stream
  udp-count PORT SECONDS     counts datagrams on PORT (empty ones included), answers "ready?"
                             with "ready" (not counted) and "count?" with the number seen
                             before it, then ends
  udp-ask PORT TEXT          sends TEXT to PORT and expects "ack:TEXT" back, from that port
  udp-multicast GROUP PORT COUNT SIZE MBITS
                             sends COUNT datagrams of SIZE bytes to GROUP:PORT through
                             127.0.0.1 at MBITS megabits per second, each starting with its
                             sequence number
  locator-reply PORT TEXT READY
                             once bound to PORT, sends "ready" to 127.0.0.1:READY, then waits
                             for a media-server request and broadcasts TEXT ("@N" for N bytes
                             of "MediaServer:x..." with no zero in it)
"""
import socket
import struct
import sys
import time

LIMIT = 10.0


def pattern(count):
    return bytes((i * 7 + i // 251) & 0xFF for i in range(count))


def tcp_send(port, count):
    data = pattern(count)
    with socket.create_connection(("127.0.0.1", port), timeout=LIMIT) as s:
        s.sendall(data)
        s.shutdown(socket.SHUT_WR)
        back = bytearray()
        while True:
            chunk = s.recv(65536)
            if not chunk:
                break
            back += chunk
    return bytes(back) == data


def udp_count(port, seconds):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.bind(("127.0.0.1", port))
    s.settimeout(0.2)
    seen = 0
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            data, sender = s.recvfrom(65536)
        except socket.timeout:
            continue
        if data == b"ready?":
            s.sendto(b"ready", sender)
            continue
        if data == b"count?":
            s.sendto(str(seen).encode(), sender)
            return True
        seen += 1
    return False


def udp_ask(port, text):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.settimeout(LIMIT)
    s.sendto(text.encode(), ("127.0.0.1", port))
    data, sender = s.recvfrom(65536)
    return data == b"ack:" + text.encode() and sender == ("127.0.0.1", port)


def udp_multicast(group, port, count, size, mbits):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
    s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 1)
    gap = size * 8 / (mbits * 1e6)
    start = time.monotonic()
    filler = b"\x47" * (size - 4)
    for n in range(count):
        # Paced against the start, so a late datagram does not slow the rest.
        delay = start + n * gap - time.monotonic()
        if delay > 0:
            time.sleep(delay)
        s.sendto(struct.pack(">I", n) + filler, (group, port))
    return True


def locator_reply(port, text, ready):
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
    s.bind(("0.0.0.0", port))
    s.settimeout(LIMIT)
    s.sendto(b"ready", ("127.0.0.1", ready))
    if text.startswith("@"):
        reply = b"MediaServer:" + b"x" * (int(text[1:]) - len(b"MediaServer:"))
    else:
        reply = text.encode()
    while b"GetMediaServerAddress" not in s.recvfrom(2048)[0]:
        pass
    s.sendto(reply, ("255.255.255.255", port))
    return True


def main():
    mode, args = sys.argv[1], sys.argv[2:]
    if mode == "tcp-send":
        ok = tcp_send(int(args[0]), int(args[1]))
    elif mode == "udp-count":
        ok = udp_count(int(args[0]), float(args[1]))
    elif mode == "udp-ask":
        ok = udp_ask(int(args[0]), args[1])
    elif mode == "udp-multicast":
        ok = udp_multicast(args[0], int(args[1]), int(args[2]), int(args[3]), float(args[4]))
    elif mode == "locator-reply":
        ok = locator_reply(int(args[0]), args[1], int(args[2]))
    else:
        sys.exit(2)
    sys.exit(0 if ok else 1)


if __name__ == "__main__":
    main()
