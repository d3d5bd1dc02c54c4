#!/usr/bin/env python3
"""Repacks an ADTS stream without CRC: into ADIF (one header with a program config element,
then the raw data blocks), into ADTS frames of up to four raw data blocks each, or into ADTS
frames of channel configuration 0 whose first raw data block starts with a program config
element for LAYOUT (one of LAYOUTS, naming the input's elements by their tags).

usage: repack_aac.py adif|multiblock INPUT.aac OUTPUT
       repack_aac.py pce LAYOUT INPUT.aac OUTPUT
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


# Front, side and back elements as (is_cpe, element_instance_tag) lists, then the LFE tags.
LAYOUTS = {
    "mono": ([(0, 0)], [], [], []),
    "stereo": ([(1, 0)], [], [], []),
    # The elements of channel configuration 6: C, L/R, Ls/Rs (behind), LFE.
    "5.1": ([(0, 0), (1, 0)], [], [(1, 1)], [0]),
    # The elements of configuration 7 as FFmpeg's encoder fills them: C, L/R, side pair, back pair,
    # LFE; and as ISO/IEC 14496-3 reads them: C, Lc/Rc, L/R, Ls/Rs, LFE.
    "7.1": ([(0, 0), (1, 0)], [(1, 1)], [(1, 2)], [0]),
    "7.1wide": ([(0, 0), (1, 0), (1, 1)], [], [(1, 2)], [0]),
}
CONFIGURATION_LAYOUTS = {1: "mono", 2: "stereo", 6: "5.1"}


def put_pce(b, profile, sfi, layout):
    front, side, back, lfe = LAYOUTS[layout]
    b.put(0, 4)  # element_instance_tag
    b.put(profile, 2)
    b.put(sfi, 4)
    for n in (len(front), len(side), len(back)):
        b.put(n, 4)
    b.put(len(lfe), 2)
    b.put(0, 3)  # assoc data
    b.put(0, 4)  # cc
    b.put(0, 1)
    b.put(0, 1)
    b.put(0, 1)  # no mixdowns
    for group in (front, side, back):
        for is_cpe, tag in group:
            b.put(is_cpe, 1)
            b.put(tag, 4)
    for tag in lfe:
        b.put(tag, 4)
    b.align()  # the raw data block, and so the element, starts on a byte boundary
    b.put(0, 8)  # comment_field_bytes


def adif(frames):
    profile, sfi, channels, _ = frames[0]
    b = Bits()
    b.put(0x41444946, 32)  # "ADIF"
    b.put(0, 1)  # copyright_id_present
    b.put(0, 1)  # original_copy
    b.put(0, 1)  # home
    b.put(1, 1)  # bitstream_type: variable rate
    b.put(0, 23)  # bitrate unknown
    b.put(0, 4)  # one program config element
    put_pce(b, profile, sfi, CONFIGURATION_LAYOUTS[channels])
    return b.bytes() + b"".join(f[3] for f in frames)


def adts_header(profile, sfi, channels, payload_bytes, blocks):
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
    header.put(7 + payload_bytes, 13)
    header.put(0x7FF, 11)
    header.put(blocks - 1, 2)
    return header.bytes()


def multiblock(frames, per_frame=4):
    out = bytearray()
    for i in range(0, len(frames), per_frame):
        group = frames[i:i + per_frame]
        profile, sfi, channels, _ = group[0]
        payload = b"".join(f[3] for f in group)
        out += adts_header(profile, sfi, channels, len(payload), len(group)) + payload
    return bytes(out)


def with_pce(frames, layout):
    out = bytearray()
    for i, (profile, sfi, _, block) in enumerate(frames):
        if i == 0:  # the PCE ends byte-aligned, so the block's own elements follow unchanged
            b = Bits()
            b.put(5, 3)  # ID_PCE
            put_pce(b, profile, sfi, layout)
            block = b.bytes() + block
        out += adts_header(profile, sfi, 0, len(block), 1) + block
    return bytes(out)


def main():
    args = sys.argv[1:]
    if args[:1] == ["pce"] and len(args) == 4 and args[1] in LAYOUTS:
        frames = list(adts_frames(open(args[2], "rb").read()))
        open(args[3], "wb").write(with_pce(frames, args[1]))
        return
    if len(args) != 3 or args[0] not in ("adif", "multiblock"):
        raise SystemExit(__doc__)
    frames = list(adts_frames(open(args[1], "rb").read()))
    result = adif(frames) if args[0] == "adif" else multiblock(frames)
    open(args[2], "wb").write(result)


if __name__ == "__main__":
    main()
