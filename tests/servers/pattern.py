"""Pattern bytes the servers hand out, the same sequence the C++ tests build with PatternBytes()."""
import sys


def pattern_bytes(length, seed=1):
    # A 32-bit linear congruential sequence; the high half of each state is one byte.
    state = (seed * 2654435761 + 1) & 0xFFFFFFFF
    out = bytearray(length)
    for i in range(length):
        state = (state * 1103515245 + 12345) & 0xFFFFFFFF
        out[i] = (state >> 16) & 0xFF
    return bytes(out)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit("usage: pattern.py OUTPUT LENGTH SEED")
    with open(sys.argv[1], "wb") as out:
        out.write(pattern_bytes(int(sys.argv[2]), int(sys.argv[3])))
