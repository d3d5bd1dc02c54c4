#!/usr/bin/env python3
"""Variants of an HE-AAC ADTS stream (one raw data block per frame, no CRC): a start in the
middle (from frame N, before which the SBR header may not come again for a while), a cut in
the middle of the last frame, and the stream twice back to back.

usage: heaac_variants.py midstart N|truncate|twice INPUT.aac OUTPUT.aac
"""
import sys


def frames(data):
    pos = 0
    while pos + 7 <= len(data):
        length = ((data[pos + 3] & 3) << 11) | (data[pos + 4] << 3) | (data[pos + 5] >> 5)
        yield data[pos:pos + length]
        pos += length


def main():
    mode = sys.argv[1]
    args = sys.argv[2:]
    count = int(args.pop(0)) if mode == "midstart" else 0
    data = open(args[0], "rb").read()
    parts = list(frames(data))
    if mode == "midstart":
        out = b"".join(parts[count:])
    elif mode == "truncate":
        out = b"".join(parts[:-1]) + parts[-1][: len(parts[-1]) // 2]
    elif mode == "twice":
        out = data + data
    else:
        raise SystemExit(__doc__)
    open(args[1], "wb").write(out)


main()
