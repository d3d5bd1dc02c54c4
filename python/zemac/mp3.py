"""MP3 (Layer III) stages as zemdec assembles them: frame header and side information, the
main data of a granule (scale factors, Huffman decoding, requantisation with the stereo tools)
and the hybrid synthesis (alias reduction, inverse MDCT, overlap, polyphase synthesis)."""
import ctypes as C

import numpy as np

from . import _api
from ._lib import Cursor, as_dict, library, ptr

BITRATES = ((0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160),  # MPEG-2
            (0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320))  # MPEG-1
SAMPLE_RATES = ((22050, 24000, 16000), (44100, 48000, 32000))


class Frame:
    """One frame's header and side information; granules[g * channels + c] are the records."""

    def __init__(self, cursor):
        lib = library()
        start = cursor.byte
        self.header = _api.ZemMp3HeaderRec()
        lib.zemsUnpackFrameHeader_MP3(C.byref(cursor.stream), C.byref(self.header))
        h = self.header
        self.channels = 1 if h.mode == 3 else 2
        self.granule_count = 2 if h.id else 1
        self.rate = SAMPLE_RATES[h.id][h.sampling_frequency]
        kbps = BITRATES[h.id][h.bitrate_index]
        if kbps == 0:
            raise NotImplementedError("free-format streams")
        self.length = (72 << h.id) * kbps * 1000 // self.rate + h.padding_bit
        self.granules = (_api.ZemMp3GranuleRec * 4)()
        self.scfsi = np.zeros(8, np.int32)
        # Scale factors, 40 bytes a channel: granule 1 keeps the groups whose scfsi flag is set.
        self.scale_factors = np.zeros(80, np.int8)
        begin, private = C.c_int32(), C.c_int32()
        lib.zemsUnpackSideInfo_MP3(C.byref(cursor.stream), self.granules, C.byref(begin),
                                   C.byref(private), ptr(self.scfsi), C.byref(self.header))
        self.main_data_begin = begin.value
        self.main_data = bytes(cursor.buffer[cursor.byte : start + self.length])

    def info(self):
        return as_dict(self.header)


def frames(data):
    """(frame, cursor at its main data) for each Layer III frame of data, the cursor over the
    bit reservoir. A leading Xing/Info frame is skipped: it holds no audio."""
    stream, pos, reservoir, first = Cursor(data), 0, b"", True
    while pos + 4 <= len(data):
        if data[pos] != 0xFF or data[pos + 1] & 0xE6 != 0xE2:
            raise ValueError(f"no Layer III header at offset {pos}")
        stream.seek(pos)
        frame = Frame(stream)
        info = first and any(t in data[pos : pos + 64] for t in (b"Xing", b"Info"))
        first = False
        pos += frame.length
        if info:
            continue
        kept = reservoir[-511:]  # main_data_begin reaches 511 bytes back at most
        start = len(kept) - frame.main_data_begin
        reservoir = kept + frame.main_data
        if start < 0:
            raise ValueError("main data begins before the stream")
        yield frame, Cursor(reservoir, start)


def decode_granule(cursor, frame, gr):
    """Scale factors, Huffman data and requantisation of granule gr of all channels: the Q26
    spectra (channels x 576, short blocks in sub-band order) and their non-zero bounds."""
    lib, h, nch = library(), frame.header, frame.channels
    sf = frame.scale_factors
    spec = np.zeros((2, 576), np.int32)
    bounds = np.zeros(2, np.int32)
    for ch in range(nch):
        g = frame.granules[gr * nch + ch]
        start = cursor.tell()
        lib.zemsUnpackScaleFactors_MP3_1u8s(*cursor.args(), ptr(sf[40 * ch :]), C.byref(g),
                                            ptr(frame.scfsi[4 * ch :]), C.byref(h), gr, ch)
        huffman_bits = g.part2_3_length - (cursor.tell() - start)
        lib.zemsHuffmanDecode_MP3_1u32s(*cursor.args(), ptr(spec[ch]), ptr(bounds[ch:]),
                                        C.byref(g), C.byref(h), huffman_bits)
        end = start + g.part2_3_length
        cursor.seek(end >> 3, end & 7)
    work = np.zeros(576, np.int32)
    lib.zemsReQuantize_MP3_32s_I(ptr(spec), ptr(bounds), ptr(sf),
                                 C.pointer(frame.granules[gr * nch]), C.byref(h), ptr(work))
    return spec[:nch], bounds[:nch]


class Synthesis:
    """The hybrid synthesis of one channel: the inverse MDCT's overlap and the polyphase
    bank's V buffer, carried from granule to granule."""

    def __init__(self):
        self.overlap = np.zeros(576, np.int32)
        self.prev_subbands = C.c_int32()
        self.v = np.zeros(512, np.int32)
        self.v_pos = C.c_int32()

    def subbands(self, spec, bound, block_type, mixed):
        """Alias reduction, inverse MDCT and overlap of a Q26 spectrum: 18 slots x 32 sub-band
        samples in Q24."""
        out = np.zeros(576, np.int32)
        library().zemsMDCTInv_MP3_32s(ptr(spec), ptr(out), ptr(self.overlap), int(bound),
                                      C.byref(self.prev_subbands), block_type, mixed)
        return out.reshape(18, 32)

    def polyphase(self, subbands):
        """16-bit PCM of the slots of subbands (slots x 32, Q24)."""
        pcm = np.zeros(subbands.size, np.int16)
        src = np.ascontiguousarray(subbands, np.int32).reshape(-1, 32)
        for t in range(src.shape[0]):
            library().zemsSynthPQMF_MP3_32s16s(ptr(src[t]), ptr(pcm[32 * t :]), ptr(self.v),
                                               C.byref(self.v_pos), 1)
        return pcm

    def __call__(self, spec, bound, granule):
        """576 PCM samples of one granule's Q26 spectrum; granule is its side-info record."""
        sub = self.subbands(np.array(spec, np.int32), bound, granule.block_type, granule.mixed_block_flag)
        return self.polyphase(sub)


def decode(data, frames_wanted=None):
    """PCM (samples x channels, int16) of the first frames of a Layer III stream."""
    out, synth = [], [Synthesis(), Synthesis()]
    for n, (frame, cursor) in enumerate(frames(data)):
        if frames_wanted is not None and n >= frames_wanted:
            break
        for gr in range(frame.granule_count):
            spec, bounds = decode_granule(cursor, frame, gr)
            pcm = [synth[c](spec[c], bounds[c], frame.granules[gr * frame.channels + c])
                   for c in range(frame.channels)]
            out.append(np.stack(pcm, axis=1))
    return np.concatenate(out) if out else np.zeros((0, 0), np.int16)
