"""Checks a large stream on standard input against FILE without keeping it: the byte count, and
the bytes of a few windows (the first and last 64 KiB and 64 KiB on each side of every 2 GiB
boundary), where a client that counts in 32 bits goes wrong. Prints what differs.

Usage: producer | stream_check.py FILE"""
import os
import sys

WINDOW = 1 << 16
CHUNK = 1 << 20


def windows(size):
    starts = {0, max(size - WINDOW, 0)}
    boundary = 1 << 31
    while boundary < size:
        starts.add(max(boundary - WINDOW, 0))
        boundary += 1 << 31
    return sorted((start, min(start + 2 * WINDOW, size)) for start in starts)


def main():
    path = sys.argv[1]
    size = os.path.getsize(path)
    wanted = windows(size)
    got = {span: bytearray() for span in wanted}
    count = 0
    stream = sys.stdin.buffer
    while True:
        chunk = stream.read(CHUNK)
        if not chunk:
            break
        for start, end in wanted:
            low, high = max(start, count), min(end, count + len(chunk))
            if low < high:
                got[(start, end)] += chunk[low - count:high - count]
        count += len(chunk)
    problems = []
    if count != size:
        problems.append(f"{count} bytes instead of {size}")
    with open(path, "rb") as original:
        for start, end in wanted:
            original.seek(start)
            if bytes(got[(start, end)]) != original.read(end - start):
                problems.append(f"bytes {start} to {end} differ")
    for problem in problems:
        print(f"stream_check: {problem}", file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
