#!/usr/bin/env python3
"""Switches long-term prediction on in an AAC LTP ADTS stream whose encoder never uses it.

In a share of the long-window frames whose first element is a single channel element or a
channel pair with a common window, the ICS info's predictor_data_present bit is set and, behind
it, ltp_data_present = 1 and seeded LTP data (lag, coefficient index, per-band flags) are
inserted for each channel; the rest of the frame moves along and the frame length is fixed.
Frames with CRC words are copied unchanged. The inserted bits shift the frame's final byte
alignment, so the raw data blocks are only fit for ADTS (an ADIF repack would misalign them).
Usage: ltp_rewrite.py IN.aac OUT.aac [SEED] [SHARE_PERCENT]
"""
import random
import sys


class Bits:
    def __init__(self, data):
        self.bits = ''.join(f'{b:08b}' for b in data)

    def read(self, pos, n):
        return int(self.bits[pos:pos + n], 2)


def ltp_data(rng, max_sfb):
    lag = rng.randrange(256, 2048)
    coef = rng.randrange(0, 5)  # up to 0.9849: feedback stays tame on tonal material
    flags = ''.join(rng.choice('01') for _ in range(min(max_sfb, 40)))
    return f'{lag:011b}{coef:03b}{flags}'


def rewrite_frame(frame, rng, share):
    b = Bits(frame)
    if b.read(15, 1) == 0:  # protection_absent 0: CRC words would go stale
        return frame
    pos = 56
    element = b.read(pos, 3)
    pos += 7  # id and instance tag
    channels = 1
    if element == 0:
        pos += 8  # global_gain
    elif element == 1:
        if b.read(pos, 1) == 0:
            return frame
        pos += 1
        channels = 2
    else:
        return frame
    window_sequence = b.read(pos + 1, 2)
    if window_sequence == 2 or rng.randrange(100) >= share:
        return frame
    max_sfb = b.read(pos + 4, 6)
    flag = pos + 10
    if b.read(flag, 1) != 0:
        return frame
    insert = ''.join('1' + ltp_data(rng, max_sfb) for _ in range(channels))
    bits = b.bits[:flag] + '1' + insert + b.bits[flag + 1:]
    bits += '0' * (-len(bits) % 8)
    length = len(bits) // 8
    if length >= 1 << 13:
        return frame
    # aac_frame_length: 13 bits from bit 30 of the header.
    bits = bits[:30] + f'{length:013b}' + bits[43:]
    return bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))


def main():
    src, dst = sys.argv[1], sys.argv[2]
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    share = int(sys.argv[4]) if len(sys.argv) > 4 else 30
    rng = random.Random(seed)
    data = open(src, 'rb').read()
    out = bytearray()
    i = 0
    while i + 7 <= len(data):
        length = ((data[i + 3] & 3) << 11) | (data[i + 4] << 3) | (data[i + 5] >> 5)
        if data[i] != 0xFF or (data[i + 1] & 0xF6) != 0xF0 or length < 7:
            sys.exit(f'no ADTS frame at offset {i}')
        out += rewrite_frame(data[i:i + length], rng, share)
        i += length
    open(dst, 'wb').write(out)


if __name__ == '__main__':
    main()
