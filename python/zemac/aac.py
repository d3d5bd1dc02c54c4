"""AAC-LC stages as zemdec assembles them: ADTS header, raw data block elements, noiseless
decoding, inverse quantisation, M/S and intensity stereo, noise substitution, TNS and the
inverse filter bank.

Prediction (AAC Main, LTP), coupling channels and SBR are left to the raw exports
(zemac.library()); apps/zemdec/aac_decoder.cpp shows how they fit in.
"""
import ctypes as C

import numpy as np

from . import _api
from ._lib import Cursor, as_dict, library, ptr

SAMPLE_RATES = (96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000)
SCE, CPE, CCE, LFE, DSE, PCE, FIL, END = range(8)


def parse_adts_header(cursor):
    """The ADTS header at the cursor (on a byte boundary) as a dict; the cursor moves past it
    (and past the CRC word)."""
    rec = _api.ZemAacAdtsRec()
    library().zemsUnpackADTSFrameHeader_AAC(C.byref(cursor.stream), C.byref(rec))
    return as_dict(rec)


def adts_frames(data):
    """(offset, header, cursor after the header) for each frame of an ADTS stream; the cursor
    is shared from frame to frame."""
    cursor, pos = Cursor(data), 0
    while pos + 7 <= len(data):
        if data[pos] != 0xFF or data[pos + 1] & 0xF6 != 0xF0:
            raise ValueError(f"no ADTS syncword at offset {pos}")
        cursor.seek(pos)
        header = parse_adts_header(cursor)
        yield pos, header, cursor
        pos += header["aac_frame_length"]


class Channel:
    """One channel of an element: the noiseless decoder's records and outputs, the spectrum."""

    def __init__(self):
        self.ics = _api.ZemAacIcsRec()
        self.chan = _api.ZemAacChanRec()
        self.sf = np.zeros(8 * 64, np.int16)
        self.sfb_cb = np.zeros(8 * 64, np.uint8)
        self.spec = np.zeros(1024, np.int32)
        self.tns_coef = np.zeros(64, np.int8)
        self.ltp_used = np.zeros(64, np.int32)  # what noise substitution clears for prediction

    @property
    def short(self):
        return self.ics.window_sequence == 2

    def grouping(self):
        """(numWinGrp, pWinGrpLen, maxSfb) as the spectral tools take them."""
        return self.ics.num_window_groups, self.ics.window_group_length, self.ics.max_sfb


def noiseless_decode(cursor, ch, sfi, common_window=0, object_type=2):
    """One individual channel stream up to quantised values, noise bands included; with
    common_window, ch.ics already holds the pair's shared info."""
    ch.chan.sampling_frequency_index = sfi
    ch.chan.predSfbLimit = 0
    ch.chan.pIcsOfChan = C.pointer(ch.ics)
    library().zemsNoiselessDecode_AAC(*cursor.args(), C.byref(_api.ZemAacLayerMainRec()),
                                      ptr(ch.sf), ptr(ch.spec), ptr(ch.sfb_cb), ptr(ch.tns_coef),
                                      C.byref(ch.chan), 0, 0, common_window, 0, object_type)


def quant_inv(ch, sfi):
    """Dequantises ch.spec in place (3 fractional bits)."""
    library().zemsQuantInv_AAC_32s_I(ptr(ch.spec), ptr(ch.sf), *ch.grouping()[:2],
                                     ch.ics.max_sfb, ptr(ch.sfb_cb), sfi, ch.chan.frame_length)


def stereo(left, right, cpe, sfi):
    """M/S (when the pair signals it), then intensity stereo into the right channel. Returns
    the M/S rows of the bands where both channels carry noise and the flag is set (their noise
    is to be correlated), or None."""
    lib = library()
    groups, lengths, max_sfb = left.grouping()
    correlated = None
    if cpe.common_window and cpe.ms_mask_present in (1, 2):
        # Noise bands take no part in M/S: a noise band of the left channel is passed as such.
        n = groups * max_sfb
        ms_used = np.frombuffer(cpe.ms_used, np.uint8).reshape(8, 60)
        flags = np.ones((8, 60), bool) if cpe.ms_mask_present == 2 else ms_used != 0
        left_noise = (left.sfb_cb[:n] == 13).reshape(groups, max_sfb)
        right_noise = (right.sfb_cb[:n] == 13).reshape(groups, max_sfb)
        rows = np.zeros((8, 60), np.uint8)
        rows[:groups, :max_sfb] = flags[:groups, :max_sfb] & left_noise & right_noise
        cb = np.where(left.sfb_cb[:n] == 13, 13, right.sfb_cb[:n]).astype(np.uint8)
        lib.zemsDecodeMsStereo_AAC_32s_I(ptr(left.spec), ptr(right.spec), cpe.ms_mask_present,
                                         ptr(ms_used), ptr(cb), groups, lengths, max_sfb, sfi,
                                         left.chan.frame_length)
        intensity = np.isin(right.sfb_cb[:n], (14, 15))
        right.sfb_cb[:n][intensity] = cb[intensity]  # an M/S flag inverts the direction
        correlated = rows if rows.any() else None
    lib.zemsDecodeIsStereo_AAC_32s(ptr(left.spec), ptr(right.spec), ptr(right.sf),
                                   ptr(right.sfb_cb), *right.grouping(), sfi,
                                   right.chan.frame_length)
    return correlated


def window_order_and_noise(ch, sfi, seed, correlated=None, channel=0, seeds=None):
    """Eight short windows from the grouped order into window order, then noise in the noise
    bands from the generator state seed (a c_uint32). For the pair's channel 0 and 1,
    correlated marks the bands whose noise channel 1 repeats, seeds (uint32[480]) carries it."""
    lib = library()
    groups, lengths, max_sfb = ch.grouping()
    if ch.short:
        grouped = ch.spec.copy()
        lib.zemsDeinterleaveSpectrum_AAC_32s(ptr(grouped), ptr(ch.spec), groups, lengths,
                                             max_sfb, sfi, 128)
    if not (ch.sfb_cb[: groups * max_sfb] == 13).any():
        return
    # One scale-factor row per window: the group's row repeated.
    rows = ch.sf[: groups * max_sfb].reshape(groups, max_sfb)
    sf = np.ascontiguousarray(np.repeat(rows, list(lengths)[:groups], axis=0))
    args = (ptr(ch.spec), ptr(ch.ltp_used), ptr(ch.sfb_cb), ptr(sf), max_sfb, groups, lengths,
            sfi, ch.chan.frame_length, C.byref(seed))
    if correlated is None:
        lib.zemsDecodePNS_AAC_32s(*args)
    else:
        lib.zemsDecodeMsPNS_AAC_32s(*args, channel, ptr(correlated), ptr(seeds))


def tns(ch, sfi):
    """The TNS synthesis filters of the channel, when it carries TNS data."""
    if ch.chan.tns_data_present:
        c = ch.chan
        library().zemsDecodeTNS_AAC_32s_I(ptr(ch.spec), c.n_filt, c.length, c.order, c.coef_res,
                                          ptr(ch.tns_coef), c.direction, ch.ics.max_sfb, 0, sfi,
                                          c.frame_length)


class FilterBank:
    """The inverse filter bank of one output channel: its overlap and previous window shape."""

    def __init__(self):
        self.overlap = np.zeros(1024, np.int32)
        self.prev_shape = 0

    def __call__(self, ch):
        """1024 16-bit samples from ch.spec (which the transform uses as scratch)."""
        pcm = np.zeros(1024, np.int16)
        library().zemsMDCTInv_AAC_32s16s(ptr(ch.spec), ptr(pcm), ptr(self.overlap),
                                         ch.ics.window_sequence, ch.ics.window_shape,
                                         self.prev_shape, 1)
        self.prev_shape = ch.ics.window_shape
        return pcm


class LcDecoder:
    """Raw data blocks of an AAC-LC stream to PCM, element by element. Channels are numbered
    in element order; last[c] is (window_sequence, spectrum) of channel c's last block as the
    filter bank took it (eight short windows of 128 lines in window order)."""

    def __init__(self, sfi):
        self.sfi = sfi
        self.banks = []
        self.seed = C.c_uint32(0x1F2E3D4C)
        self.noise_seeds = np.zeros(8 * 60, np.uint32)
        self.last = []

    def _synthesise(self, ch, out, pcm):
        tns(ch, self.sfi)
        while len(self.banks) <= out:
            self.banks.append(FilterBank())
            self.last.append(None)
        self.last[out] = (ch.ics.window_sequence, ch.spec.copy())
        pcm.append(self.banks[out](ch))

    def raw_data_block(self, cursor):
        """Decodes one raw data block at the cursor; returns the PCM of its channels."""
        lib, pcm = library(), []
        while (element := cursor.read(3)) != END:
            if element in (SCE, LFE):
                cursor.read(4)  # element_instance_tag
                ch = Channel()
                noiseless_decode(cursor, ch, self.sfi)
                quant_inv(ch, self.sfi)
                window_order_and_noise(ch, self.sfi, self.seed)
                self._synthesise(ch, len(pcm), pcm)
            elif element == CPE:
                cursor.read(4)
                left, right, cpe = Channel(), Channel(), _api.ZemAacCpeRec()
                lib.zemsDecodeChanPairElt_AAC(*cursor.args(), C.byref(left.ics), C.byref(cpe), 0)
                if cpe.common_window:
                    C.pointer(right.ics)[0] = left.ics
                for ch in (left, right):
                    noiseless_decode(cursor, ch, self.sfi, cpe.common_window)
                    quant_inv(ch, self.sfi)
                correlated = stereo(left, right, cpe, self.sfi)
                for c, ch in enumerate((left, right)):
                    window_order_and_noise(ch, self.sfi, self.seed, correlated, c,
                                           self.noise_seeds)
                self._synthesise(left, len(pcm), pcm)
                self._synthesise(right, len(pcm), pcm)
            elif element == DSE:
                tag, count, data = C.c_int32(), C.c_int32(), np.zeros(512, np.uint8)
                lib.zemsDecodeDatStrElt_AAC(*cursor.args(), C.byref(tag), C.byref(count),
                                            ptr(data))
            elif element == PCE:
                lib.zemsDecodePrgCfgElt_AAC(*cursor.args(), C.byref(_api.ZemAacPceRec()))
            elif element == FIL:
                count, data = C.c_int32(), np.zeros(272, np.uint8)
                lib.zemsDecodeFillElt_AAC(*cursor.args(), C.byref(count), ptr(data))
            else:
                raise NotImplementedError("coupling channel elements are not decoded here")
        cursor.align()
        return pcm


def decode_adts(data, frames=None):
    """PCM (samples x channels, int16) of the first `frames` frames of an AAC-LC ADTS stream."""
    blocks, decoder = [], None
    for _, header, cursor in adts_frames(data):
        if frames is not None and len(blocks) >= frames:
            break
        if header["protection_absent"] == 0 and header["raw_data_block_count"] > 1:
            raise NotImplementedError("protected frames of several raw data blocks")
        decoder = decoder or LcDecoder(header["sampling_frequency_index"])
        for _ in range(header["raw_data_block_count"]):
            blocks.append(np.stack(decoder.raw_data_block(cursor), axis=1))
    return np.concatenate(blocks) if blocks else np.zeros((0, 0), np.int16)
