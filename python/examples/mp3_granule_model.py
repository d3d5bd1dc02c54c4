#!/usr/bin/env python3
"""Compares the library's fixed-point MP3 synthesis of one granule with a float model.

    mp3_granule_model.py FILE.mp3 [FRAME] [GRANULE]

The granules of the first channel up to the chosen one are decoded with zemac (requantisation
to Q26), then synthesised twice: by the library (hybrid synthesis to Q24 sub-band samples, then
the fixed-point polyphase bank to 16-bit PCM) and by a double-precision model of the hybrid
stage written from its definition (alias-reduction butterflies, 36- and 12-point inverse MDCTs
with their windows, overlap-add, frequency inversion) followed by the library's floating-point
polyphase bank. Prints how far the two are apart in the chosen granule; exits 1 when the
sub-band samples differ by more than 2^-16 of full scale or the PCM by more than one step.
"""
import ctypes
import sys

import numpy as np

import zemac
from zemac import mp3

# Alias-reduction coefficients c_i of Layer III; the butterflies use cs = 1/sqrt(1 + c^2) and
# ca = c/sqrt(1 + c^2).
ALIAS = np.array([-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037])
CS, CA = 1 / np.sqrt(1 + ALIAS**2), ALIAS / np.sqrt(1 + ALIAS**2)


def window(block_type):
    """The 36-point window of a long block type (0 normal, 1 start, 3 stop), or the 12-point
    short window (2)."""
    n = np.arange(36) + 0.5
    if block_type == 2:
        return np.sin(np.pi / 12 * n[:12])
    w = np.sin(np.pi / 36 * n)
    if block_type == 1:
        w[18:24], w[24:30], w[30:] = 1, np.sin(np.pi / 12 * (n[24:30] - 18)), 0
    elif block_type == 3:
        w[:6], w[6:12], w[12:18] = 0, np.sin(np.pi / 12 * (n[6:12] - 6)), 1
    return w


def imdct(x):
    """N = 2 len(x) outputs: y[n] = sum_k x[k] cos(pi / (2N) (2n + 1 + N/2)(2k + 1))."""
    N = 2 * len(x)
    n, k = np.arange(N)[:, None], np.arange(N // 2)[None, :]
    return np.cos(np.pi / (2 * N) * (2 * n + 1 + N / 2) * (2 * k + 1)) @ x


def model_granule(xr, block_type, overlap):
    """18 slots x 32 sub-band samples of one granule (576 lines, full scale 1.0); overlap
    (32 x 18) carries the second halves to the next granule."""
    x = xr.reshape(32, 18).copy()
    if block_type != 2:
        for sb in range(1, 32):
            a, b = x[sb - 1, 17::-1][:8].copy(), x[sb, :8].copy()
            x[sb - 1, 17:9:-1], x[sb, :8] = a * CS - b * CA, b * CS + a * CA
    out = np.zeros((32, 18))
    for sb in range(32):
        if block_type == 2:  # three windows of six lines each, window after window
            z = np.zeros(36)
            for w in range(3):
                z[6 + 6 * w : 18 + 6 * w] += imdct(x[sb, 6 * w : 6 * w + 6]) * window(2)
        else:
            z = imdct(x[sb]) * window(block_type)
        out[sb] = z[:18] + overlap[sb]
        overlap[sb] = z[18:]
    out[1::2, 1::2] *= -1  # frequency inversion: odd sub-bands in odd slots
    return out.T


def main(argv):
    path = argv[0]
    frame_wanted = int(argv[1]) if len(argv) > 1 else 10
    granule_wanted = int(argv[2]) if len(argv) > 2 else 0
    lib = zemac.library()
    synthesis, overlap = mp3.Synthesis(), np.zeros((32, 18))
    mem = np.zeros(4096, np.uint8)
    state = ctypes.POINTER(zemac.api.ZemMp3PqmfSynthesisSpec_32f)()
    lib.zemsSynthesisFilterInit_PQMF_MP3_32f(ctypes.byref(state), zemac.ptr(mem))
    with open(path, "rb") as f:
        data = f.read()
    for n, (frame, cursor) in enumerate(mp3.frames(data)):
        for gr in range(frame.granule_count):
            spec, bounds = mp3.decode_granule(cursor, frame, gr)
            g = frame.granules[gr * frame.channels]
            if g.mixed_block_flag:
                sys.exit("mixed blocks are outside the model")
            xr = spec[0].astype(np.float64) / 2**26
            fixed_sub = synthesis.subbands(spec[0].copy(), bounds[0], g.block_type, 0)
            fixed_pcm = synthesis.polyphase(fixed_sub)
            model_sub = model_granule(xr, g.block_type, overlap)
            model_pcm = np.zeros(576, np.float32)
            src = np.ascontiguousarray(model_sub, np.float32)
            for t in range(18):
                lib.zemsSynthesisFilter_PQMF_MP3_32f(zemac.ptr(src[t]),
                                                     zemac.ptr(model_pcm[32 * t :]), state, 1)
            if (n, gr) != (frame_wanted, granule_wanted):
                continue
            sub_err = np.abs(fixed_sub / 2**24 - model_sub).max()
            pcm_model = np.clip(np.rint(model_pcm * 32768), -32768, 32767)
            pcm_err = np.abs(fixed_pcm - pcm_model).max()
            signal = np.sum(pcm_model**2)
            noise = np.sum((fixed_pcm - pcm_model) ** 2)
            snr = 10 * np.log10(signal / noise) if noise else float("inf")
            print(f"frame {n} granule {gr}: block type {g.block_type}, "
                  f"{bounds[0]} non-zero lines, peak {np.abs(pcm_model).max():.0f}")
            print(f"sub-band samples: largest difference {sub_err:.3g} of full scale "
                  f"({sub_err * 2**24:.1f} Q24 units)")
            print(f"PCM: largest difference {pcm_err:.0f}, SNR {snr:.1f} dB")
            return 0 if sub_err <= 2**-16 and pcm_err <= 1 else 1
    sys.exit(f"{path} has no granule {granule_wanted} in frame {frame_wanted}")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
