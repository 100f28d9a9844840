"""Cuts an MPEG-1 Layer III recording to its whole frames: from the first place where two frames
follow each other to the end of the last frame that is complete. A recording of a live station
starts and ends inside frames; a frame missing where one must begin is damage and fails.

usage: whole_frames.py IN OUT"""
import sys

KILOBITS = [0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0]
RATES = [44100, 48000, 32000, 0]


def frame_length(data, at):
    if at + 4 > len(data) or data[at] != 0xFF or (data[at + 1] & 0xFE) != 0xFA:
        return 0
    kilobits, rate = KILOBITS[data[at + 2] >> 4], RATES[(data[at + 2] >> 2) & 3]
    if not kilobits or not rate:
        return 0
    return 144000 * kilobits // rate + ((data[at + 2] >> 1) & 1)


def main(source, target):
    data = open(source, "rb").read()
    start = 0
    while start < len(data) and not (frame_length(data, start) and frame_length(data, start + frame_length(data, start))):
        start += 1
    at = start
    while at + 4 <= len(data):
        length = frame_length(data, at)
        if not length:
            sys.exit(f"no frame at byte {at} of {len(data)}")
        if at + length > len(data):
            break
        at += length
    if at == start:
        sys.exit("no whole frame")
    open(target, "wb").write(data[start:at])


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
