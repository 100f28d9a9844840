"""Prints free TCP ports on 127.0.0.1: COUNT single ports, then the first and last of a run of
RUN consecutive free ports (for FTP passive data connections).

Ports come from below Linux's ephemeral range so that outgoing connections do not take them
between this choice and the servers' start. Every chosen port is held open until all are chosen,
so no two answers are the same port.
"""
import random
import socket
import sys

LOW, HIGH = 20000, 32000


def try_bind(port, held):
    sock = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    try:
        sock.bind(("127.0.0.1", port))
    except OSError:
        sock.close()
        return False
    held.append(sock)
    return True


def pick_single(held):
    for _ in range(1000):
        if try_bind(random.randint(LOW, HIGH), held):
            return held[-1].getsockname()[1]
    raise SystemExit("no free port on 127.0.0.1 between %d and %d" % (LOW, HIGH))


def pick_run(length, held):
    for _ in range(1000):
        first = random.randint(LOW, HIGH - length)
        run = []
        if all(try_bind(port, run) for port in range(first, first + length)):
            held.extend(run)
            return first, first + length - 1
        for sock in run:
            sock.close()
    raise SystemExit("no run of %d free ports on 127.0.0.1" % length)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: free_ports.py COUNT RUN")
    count, run_length = int(sys.argv[1]), int(sys.argv[2])
    held = []
    singles = [pick_single(held) for _ in range(count)]
    run = pick_run(run_length, held) if run_length > 0 else ()
    print(" ".join(str(port) for port in singles + list(run)))
    for sock in held:
        sock.close()


if __name__ == "__main__":
    main()
