#!/usr/bin/env python3
"""Reading through the Python binding against Python's own readers, in one run.

- HTTP: a file of MIB mebibytes (1024 unless given) from nginx on loopback, read in 1 MiB readinto
  calls through zureader.open(url) and through urllib.request.urlopen(url) into the same buffer.
- Local: the same file read in 1 MiB readinto calls through zureader.open(path) and through
  open(path, "rb", buffering=0).

Prints each throughput (the best of ROUNDS) and the ratios, ours over Python's.

Usage: ZUREADER_LIBRARY=out/native/lib/libzureader.so read_bench.py [--rounds N] [--mib MIB] [--servers PORTS_FILE]
Without --servers the loopback servers of the tests are started in a temporary folder and stopped
at the end."""
import argparse
import os
import subprocess
import sys
import tempfile
import time
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path.insert(0, os.path.join(ROOT, "bindings", "python"))
import zureader  # noqa: E402 (found through the path set above)

MIB = 1 << 20


def read_ports(path):
    with open(path, encoding="utf-8") as file:
        return dict(line.rstrip("\n").split("=", 1) for line in file if "=" in line)


def drain(reader, buffer):
    total = 0
    while True:
        count = reader.readinto(buffer)
        if not count:
            return total
        total += count


def timed(open_reader, buffer, expected):
    start = time.perf_counter()
    with open_reader() as reader:
        total = drain(reader, buffer)
    elapsed = time.perf_counter() - start
    if total != expected:
        raise SystemExit(f"read {total} bytes, expected {expected}")
    return expected / elapsed / MIB


def best_of(rounds, contenders, buffer, expected):
    """{name: best MiB/s}, the contenders taking turns so that the machine's moods hit both."""
    best = {name: 0.0 for name in contenders}
    for _ in range(rounds):
        for name, open_reader in contenders.items():
            best[name] = max(best[name], timed(open_reader, buffer, expected))
    return best


def write_file(path, size):
    block = os.urandom(MIB)
    with open(path, "wb") as file:
        for _ in range(size // MIB):
            file.write(block)


def run(ports, rounds, mib):
    name = f"python-bench-{os.getpid()}.bin"
    path = os.path.join(ports["NGINX_ROOT"], name)
    size = mib * MIB
    write_file(path, size)
    url = f"http://127.0.0.1:{ports['NGINX_HTTP']}/{name}"
    buffer = bytearray(MIB)
    try:
        http = best_of(rounds, {
            "zureader": lambda: zureader.open(url, timeout_ms=30000),
            "urllib": lambda: urllib.request.urlopen(url, timeout=30),
        }, buffer, size)
        local = best_of(rounds, {
            "zureader": lambda: zureader.open(path),
            "open": lambda: open(path, "rb", buffering=0),
        }, buffer, size)
    finally:
        os.remove(path)
    print(f"HTTP  {mib} MiB in 1 MiB readinto: zureader {http['zureader']:.0f} MiB/s, "
          f"urllib.request {http['urllib']:.0f} MiB/s, ratio {http['zureader'] / http['urllib']:.2f} (goal >= 1.0)")
    print(f"local {mib} MiB in 1 MiB readinto: zureader {local['zureader']:.0f} MiB/s, "
          f"open(buffering=0) {local['open']:.0f} MiB/s, ratio {local['zureader'] / local['open']:.2f} (goal >= 0.9)")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--mib", type=int, default=1024)
    parser.add_argument("--servers", help="ports.env of running loopback servers")
    args = parser.parse_args()
    if args.servers:
        run(read_ports(args.servers), args.rounds, args.mib)
        return
    with tempfile.TemporaryDirectory(prefix="zu-pybench-servers-") as folder:
        # Open to others: squid started by root runs as an account of its own.
        os.chmod(folder, 0o755)
        subprocess.run(["bash", os.path.join(ROOT, "tests", "servers", "start.sh"), folder], check=True,
                       stdout=subprocess.DEVNULL)
        try:
            run(read_ports(os.path.join(folder, "ports.env")), args.rounds, args.mib)
        finally:
            subprocess.run(["bash", os.path.join(ROOT, "tests", "servers", "stop.sh"), folder], stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    main()
