"""Statuses through the binding: errors raise with the header's name, warnings warn."""
import ctypes as C
import warnings

import numpy as np
import pytest

import zemac
from zemac import mp3


@pytest.fixture(scope="module")
def lib():
    return zemac.library()


def quant_inv(lib, spec, max_sfb):
    sf = np.full(64, 100, np.int16)
    cb = np.ones(64, np.uint8)
    group = (C.c_int32 * 8)(1)
    return lib.zemsQuantInv_AAC_32s_I(spec if spec is None else zemac.ptr(spec), zemac.ptr(sf),
                                      1, group, max_sfb, zemac.ptr(cb), 4, 1024)


def test_errors_carry_the_status_name_and_value_in_check_order(lib):
    spec = np.arange(1024, dtype=np.int32) % 7
    with pytest.raises(zemac.ZemError) as bad_band:
        quant_inv(lib, spec, 52)
    assert (bad_band.value.name, bad_band.value.status) == ("zemStatusAacBadMaxSfb", -162)
    assert bad_band.value.function == "zemsQuantInv_AAC_32s_I"
    assert "zemStatusAacBadMaxSfb (-162)" in str(bad_band.value)
    assert np.array_equal(spec, np.arange(1024) % 7), "a failed check wrote"
    with pytest.raises(zemac.ZemError) as null:  # pointers are checked before scalars
        quant_inv(lib, None, 52)
    assert (null.value.name, null.value.status) == ("zemStatusNullPointer", -8)
    assert quant_inv(lib, spec, 49) == 0


def test_parser_errors_come_through_the_stage_layer():
    header = bytes([0xFF, 0xFB, 0x90, 0x44])  # MPEG-1 Layer III, 128 kbit/s, 44.1 kHz, stereo
    # Side information: 20 bits of frame data, then granule 0 of channel 0 with its
    # window_switching_flag (bit 53) set and block_type 0.
    bits = "0" * 53 + "1" + "0" * (32 * 8 - 54)
    side_info = int(bits, 2).to_bytes(32, "big")
    with pytest.raises(zemac.ZemError, match="zemsUnpackSideInfo_MP3: zemStatusMp3BadSideInfo"):
        mp3.Frame(zemac.Cursor(header + side_info + bytes(400)))


def test_warnings_are_returned_and_reported_not_raised(lib):
    state = C.POINTER(zemac.api.ZemFdpState_32f)()
    lib.zemsFDPInitAlloc_32f(C.byref(state), 64)
    try:
        buf = np.zeros(130, np.float32)
        src = buf[1:65] if buf.ctypes.data % 16 == 0 else buf[2:66]  # 4 or 8 bytes off 16
        src[:] = np.linspace(-1, 1, 64)
        dst = np.zeros(64, np.float32)
        with pytest.warns(zemac.ZemWarning) as caught:
            assert lib.zemsFDPFwd_32f(zemac.ptr(src), zemac.ptr(dst), state) == 2
        assert caught[0].message.name == "zemWarnMisaligned"
        assert np.array_equal(dst, src), "a reset predictor predicts 0: the result is complete"
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            lib.zemsFDPReset_32f(state)
    finally:
        lib.zemsFDPFree_32f(state)
