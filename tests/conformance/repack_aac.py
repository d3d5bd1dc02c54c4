#!/usr/bin/env python3
"""Repacks an ADTS stream without CRC: into ADIF (one header with a program config element,
then the raw data blocks), or into ADTS frames of up to four raw data blocks each.

usage: repack_aac.py adif|multiblock INPUT.aac OUTPUT
"""
import sys


def adts_frames(data):
    pos = 0
    while pos + 7 <= len(data):
        if data[pos] != 0xFF or (data[pos + 1] & 0xF6) != 0xF0:
            raise SystemExit(f"no ADTS sync at offset {pos}")
        protection_absent = data[pos + 1] & 1
        if not protection_absent:
            raise SystemExit("streams with CRC are not repacked")
        profile = data[pos + 2] >> 6
        sfi = (data[pos + 2] >> 2) & 15
        channels = ((data[pos + 2] & 1) << 2) | (data[pos + 3] >> 6)
        length = ((data[pos + 3] & 3) << 11) | (data[pos + 4] << 3) | (data[pos + 5] >> 5)
        blocks = (data[pos + 6] & 3) + 1
        if blocks != 1:
            raise SystemExit("input frames must carry one raw data block")
        yield profile, sfi, channels, data[pos + 7:pos + length]
        pos += length


class Bits:
    def __init__(self):
        self.bits = []

    def put(self, value, n):
        self.bits += [(value >> (n - 1 - i)) & 1 for i in range(n)]

    def align(self):
        while len(self.bits) % 8:
            self.bits.append(0)

    def bytes(self):
        self.align()
        return bytes(int("".join(map(str, self.bits[i:i + 8])), 2) for i in range(0, len(self.bits), 8))


# Front, side, back, LFE elements of the channel configurations: (is_cpe, tag) lists.
LAYOUTS = {
    1: ([(0, 0)], [], [], 0),
    2: ([(1, 0)], [], [], 0),
    6: ([(0, 0), (1, 0)], [], [(1, 1)], 1),
}


def adif(frames):
    profile, sfi, channels, _ = frames[0]
    front, side, back, lfe = LAYOUTS[channels]
    b = Bits()
    b.put(0x41444946, 32)  # "ADIF"
    b.put(0, 1)  # copyright_id_present
    b.put(0, 1)  # original_copy
    b.put(0, 1)  # home
    b.put(1, 1)  # bitstream_type: variable rate
    b.put(0, 23)  # bitrate unknown
    b.put(0, 4)  # one program config element
    b.put(0, 4)  # element_instance_tag
    b.put(profile, 2)
    b.put(sfi, 4)
    for n in (len(front), len(side), len(back)):
        b.put(n, 4)
    b.put(lfe, 2)
    b.put(0, 3)  # assoc data
    b.put(0, 4)  # cc
    b.put(0, 1)
    b.put(0, 1)
    b.put(0, 1)  # no mixdowns
    for group in (front, side, back):
        for is_cpe, tag in group:
            b.put(is_cpe, 1)
            b.put(tag, 4)
    for tag in range(lfe):
        b.put(tag, 4)
    b.align()
    b.put(0, 8)  # comment_field_bytes
    return b.bytes() + b"".join(f[3] for f in frames)


def multiblock(frames, per_frame=4):
    out = bytearray()
    for i in range(0, len(frames), per_frame):
        group = frames[i:i + per_frame]
        profile, sfi, channels, _ = group[0]
        payload = b"".join(f[3] for f in group)
        length = 7 + len(payload)
        header = Bits()
        header.put(0xFFF, 12)
        header.put(0, 1)  # MPEG-4
        header.put(0, 2)
        header.put(1, 1)  # no CRC
        header.put(profile, 2)
        header.put(sfi, 4)
        header.put(0, 1)
        header.put(channels, 3)
        header.put(0, 4)
        header.put(length, 13)
        header.put(0x7FF, 11)
        header.put(len(group) - 1, 2)
        out += header.bytes() + payload
    return bytes(out)


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("adif", "multiblock"):
        raise SystemExit(__doc__)
    frames = list(adts_frames(open(sys.argv[2], "rb").read()))
    result = adif(frames) if sys.argv[1] == "adif" else multiblock(frames)
    open(sys.argv[3], "wb").write(result)


if __name__ == "__main__":
    main()
