#!/usr/bin/env python3
"""Perceptual quality of a coded signal against its reference: Total NMR and segmental SNR.

Total NMR comes from a double-precision version of the FFT ear model of PEAQ (ITU-R BS.1387,
basic version):
  - 2048-sample scaled Hann frames, hop 1024, at 48 kHz. Other rates are resampled to 48 kHz
    first (band-limited FFT interpolation of the whole signal), so the frame length, the band
    edges and the time constants keep their 48 kHz meaning.
  - levels scaled so that a full-scale sine reads 92 dB SPL at its spectral peak;
  - outer and middle ear weighting of each FFT line;
  - error spectrum = squared difference of the weighted magnitude spectra (reference - test);
  - 109 quarter-Bark bands from 80 Hz to 18 kHz (z = 7 asinh(f / 650 Hz)), lines split over
    band edges in proportion to their overlap, 1e-12 as the floor of a band energy;
  - internal noise added to the reference pattern, then frequency spreading with 27 dB/Bark
    below and 24 + 230 Hz / fc - 0.2 L dB/Bark above, summed with exponent 0.4 and normalised
    by the spreading of a flat 0 dB pattern;
  - time spreading (first-order smoothing with 8 ms .. 30 ms time constants, never below the
    unsmoothed value);
  - masking threshold = reference excitation less 3 dB up to band 48 (12 Bark above the lowest
    band), 0.25 dB per band-Bark above;
  - NMR per band = error band energy / threshold; Total NMR = 10 log10 of the mean over frames
    of the mean over bands; frames outside the data boundary (the first and last run of five
    samples whose absolute sum exceeds 200) are left out.
Left out: the filter-bank ear model, the pattern adaptation, modulation, loudness and all other
output variables, the neural network and its quality grade. Stereo signals are measured per
channel and the two dB values averaged.

Segmental SNR: 20 ms frames at the input rate, each frame's SNR clamped to -10..80 dB, frames
whose reference is below -70 dBFS skipped, mean of the dB values.

Before measuring, the lag of the test against the reference is found by cross-correlation
(within +-4096 samples); it is reported, and compensated only with --align (which measures
the overlapping part). A pure delay hardly moves the NMR, whose error spectrum compares
magnitudes, but it ruins the segmental SNR.

Usage: nmr_meter.py REF.wav TEST.wav [--align] [--bands]
Prints: nmr_total_db=... seg_snr_db=... lag=... frames=...   (--bands: NMR per frequency region)
"""
import argparse
import sys
import wave

import numpy as np

FS = 48000
N = 2048
HOP = 1024
RES = 0.25
F_LOW, F_HIGH = 80.0, 18000.0
TAU_MIN, TAU_100 = 0.008, 0.030


def bark(f):
    return 7.0 * np.arcsinh(np.asarray(f, dtype=float) / 650.0)


def hz(z):
    return 650.0 * np.sinh(np.asarray(z, dtype=float) / 7.0)


def _bands():
    z_lo, z_hi = bark(F_LOW), bark(F_HIGH)
    count = int(np.ceil((z_hi - z_lo) / RES))
    i = np.arange(count)
    lower = hz(z_lo + i * RES)
    upper = np.minimum(hz(z_lo + (i + 1) * RES), F_HIGH)
    centre = hz(z_lo + (i + 0.5) * RES)
    return lower, centre, upper


BAND_LO, BAND_FC, BAND_HI = _bands()
BANDS = len(BAND_FC)
WINDOW = 0.5 * np.sqrt(8.0 / 3.0) * (1.0 - np.cos(2.0 * np.pi * np.arange(N) / (N - 1)))
LINE_HZ = np.arange(N // 2 + 1) * FS / N


def _grouping():
    """Weight of FFT line k in band i: the share of the line's width [k - 1/2, k + 1/2] inside."""
    df = FS / N
    lo = LINE_HZ - df / 2
    hi = LINE_HZ + df / 2
    overlap = np.minimum(hi[:, None], BAND_HI[None, :]) - np.maximum(lo[:, None], BAND_LO[None, :])
    return np.clip(overlap, 0.0, None) / df


def _ear_weight():
    f = LINE_HZ[1:] / 1000.0
    db = -0.6 * 3.64 * f**-0.8 + 6.5 * np.exp(-0.6 * (f - 3.3) ** 2) - 1e-3 * f**3.6
    return np.concatenate(([0.0], 10.0 ** (db / 20.0)))


GROUP = _grouping()
EAR = _ear_weight()
INTERNAL_NOISE = 10.0 ** (0.4 * 0.364 * (BAND_FC / 1000.0) ** -0.8)
MASK_OFFSET = 10.0 ** (-np.where(np.arange(BANDS) * RES <= 12.0, 3.0, 0.25 * np.arange(BANDS) * RES) / 10.0)
_TAU = TAU_MIN + 100.0 / BAND_FC * (TAU_100 - TAU_MIN)
TIME_DECAY = np.exp(-HOP / FS / _TAU)
# Band distance in Bark, source band j (rows) to target band k (columns).
_DZ = (np.arange(BANDS)[None, :] - np.arange(BANDS)[:, None]) * RES


def _magnitudes(x):
    """Unscaled |X[k]| = |sum w[n] x[n] e^-j2pi kn/N| / N of every frame of x (int16 units)."""
    frames = (max(len(x) - N, 0) + HOP - 1) // HOP + 1
    padded = np.zeros((frames - 1) * HOP + N)
    padded[: len(x)] = x
    idx = np.arange(N)[None, :] + HOP * np.arange(frames)[:, None]
    return np.abs(np.fft.rfft(padded[idx] * WINDOW, axis=1)) / N


def _level_gain():
    """Gain that puts the spectral peak of a full-scale 1019.5 Hz sine at 92 dB SPL."""
    t = np.arange(12 * HOP + N) / FS
    peak = _magnitudes(32767.0 * np.sin(2.0 * np.pi * 1019.5 * t)).max()
    return 10.0 ** (92.0 / 20.0) / peak


LEVEL_GAIN = _level_gain()


def _spreading_terms(power):
    """Per frame, the normalised spreading of each band j onto band k, raised to 0.4."""
    upper = 24.0 + 230.0 / BAND_FC - 0.2 * 10.0 * np.log10(power)  # dB/Bark, per frame and band
    slope = np.where(_DZ[None] < 0, 27.0, upper[:, :, None])
    atten_db = -slope * np.abs(_DZ)[None]
    lin = 10.0 ** (atten_db / 10.0)
    lin /= lin.sum(axis=2, keepdims=True)
    return (power[:, :, None] * lin) ** 0.4


_SPREAD_NORM = _spreading_terms(np.ones((1, BANDS))).sum(axis=1)[0] ** 2.5


def spread_frequency(power):
    out = np.empty_like(power)
    for s in range(0, len(power), 64):
        out[s : s + 64] = _spreading_terms(power[s : s + 64]).sum(axis=1) ** 2.5
    return out / _SPREAD_NORM


def spread_time(excitation):
    out = np.empty_like(excitation)
    state = np.zeros(BANDS)
    for n, e in enumerate(excitation):
        state = TIME_DECAY * state + (1.0 - TIME_DECAY) * e
        out[n] = np.maximum(state, e)
    return out


def band_nmr(ref, test):
    """NMR (linear) of every frame and band of one channel at 48 kHz, int16 units."""
    ref_w = _magnitudes(ref) * LEVEL_GAIN * EAR
    test_w = _magnitudes(test) * LEVEL_GAIN * EAR
    noise = np.maximum(((ref_w - test_w) ** 2) @ GROUP, 1e-12)
    pattern = np.maximum((ref_w**2) @ GROUP, 1e-12) + INTERNAL_NOISE
    mask = spread_time(spread_frequency(pattern)) * MASK_OFFSET
    return noise / mask


def boundary_frames(signals, count):
    """Frames [first, last] holding the first and last run of 5 samples with |sum| > 200."""
    start, end = None, None
    for x in signals:
        runs = np.flatnonzero(np.convolve(np.abs(x), np.ones(5), mode="valid") > 200.0)
        if runs.size:
            start = runs[0] if start is None else min(start, runs[0])
            end = runs[-1] + 4 if end is None else max(end, runs[-1] + 4)
    if start is None:
        return 0, count - 1
    first = max(0, (start - N) // HOP + 1)
    return first, min(count - 1, max(first, end // HOP))


def resample(x, rate):
    if rate == FS:
        return x
    n_out = int(round(len(x) * FS / rate))
    spec = np.fft.rfft(x)
    out = np.zeros(n_out // 2 + 1, dtype=complex)
    m = min(len(spec), len(out))
    out[:m] = spec[:m]
    if len(x) % 2 == 0 and m == len(spec):
        out[m - 1] *= 0.5  # the input's Nyquist line is split between +fs/2 and -fs/2
    return np.fft.irfft(out, n_out) * (n_out / len(x))


def segmental_snr(ref, test, rate):
    size = int(round(0.020 * rate))
    count = len(ref) // size
    r = ref[: count * size].reshape(count, size)
    e = r - test[: count * size].reshape(count, size)
    sig = (r**2).sum(axis=1)
    err = (e**2).sum(axis=1)
    keep = sig > size * (32768.0**2) * 1e-7
    if not keep.any():
        return float("nan")
    with np.errstate(divide="ignore"):
        snr = 10.0 * np.log10(sig[keep] / err[keep])
    return float(np.clip(snr, -10.0, 80.0).mean())


def find_lag(ref, test, reach=4096):
    """Lag L with test[n] ~ ref[n - L]; 0 unless another lag correlates clearly better."""
    size = 1 << int(np.ceil(np.log2(len(ref) + len(test))))
    corr = np.fft.irfft(np.conj(np.fft.rfft(ref, size)) * np.fft.rfft(test, size), size)
    lags = np.concatenate((np.arange(0, reach + 1), np.arange(-reach, 0)))
    values = np.concatenate((corr[: reach + 1], corr[size - reach :]))
    best = int(lags[np.argmax(values)])
    return 0 if corr[0] >= 0.999 * values.max() else best


def overlap(ref, test, lag):
    """The parts of ref and test that line up when test[n] ~ ref[n - lag]."""
    if lag >= 0:
        return ref[:, : ref.shape[1] - lag], test[:, lag:]
    return ref[:, -lag:], test[:, : test.shape[1] + lag]


def read_wav(path):
    with wave.open(path, "rb") as w:
        if w.getsampwidth() != 2 or w.getnchannels() not in (1, 2):
            raise SystemExit(f"{path}: only 16-bit mono or stereo PCM")
        data = np.frombuffer(w.readframes(w.getnframes()), dtype="<i2").astype(float)
        return data.reshape(-1, w.getnchannels()).T, w.getframerate()


REGIONS = (80, 500, 1000, 2000, 4000, 8000, 12000, 16000, 18000)


def measure(ref, test, rate, align=False):
    """ref, test: arrays of shape (channels, samples). Returns a dict of results."""
    length = min(ref.shape[1], test.shape[1])
    lag = find_lag(ref.sum(axis=0)[:length], test.sum(axis=0)[:length])
    ref, test = ref[:, :length], test[:, :length]
    if align and lag:
        ref, test = overlap(ref, test, lag)
    ref48 = [resample(ch, rate) for ch in ref]
    test48 = [resample(ch, rate) for ch in test]
    nmr = [band_nmr(r, t) for r, t in zip(ref48, test48)]
    first, last = boundary_frames(ref48 + test48, len(nmr[0]))
    nmr = [v[first : last + 1] for v in nmr]
    total = float(np.mean([10.0 * np.log10(v.mean()) for v in nmr]))
    snr = float(np.nanmean([segmental_snr(r, t, rate) for r, t in zip(ref, test)]))
    per_band = np.mean([v.mean(axis=0) for v in nmr], axis=0)
    regions = []
    for lo, hi in zip(REGIONS[:-1], REGIONS[1:]):
        sel = (BAND_FC >= lo) & (BAND_FC < hi)
        regions.append((lo, hi, float(10.0 * np.log10(per_band[sel].mean()))))
    return {"nmr_total_db": total, "seg_snr_db": snr, "lag": lag, "length_ref": ref.shape[1],
            "frames": last - first + 1, "regions": regions}


def main(argv=None):
    p = argparse.ArgumentParser(description="Total NMR and segmental SNR of TEST against REF.")
    p.add_argument("ref")
    p.add_argument("test")
    p.add_argument("--align", action="store_true", help="compensate a lag found by correlation")
    p.add_argument("--bands", action="store_true", help="also print NMR per frequency region")
    a = p.parse_args(argv)
    ref, rate = read_wav(a.ref)
    test, rate_test = read_wav(a.test)
    if rate != rate_test or ref.shape[0] != test.shape[0]:
        raise SystemExit("reference and test differ in rate or channel count")
    if ref.shape[1] != test.shape[1]:
        print(f"nmr_meter: lengths differ ({ref.shape[1]} vs {test.shape[1]}), using the shorter",
              file=sys.stderr)
    r = measure(ref, test, rate, a.align)
    if r["lag"]:
        print(f"nmr_meter: test lags the reference by {r['lag']} samples"
              + (" (compensated)" if a.align else ""), file=sys.stderr)
    print(f"nmr_total_db={r['nmr_total_db']:.2f} seg_snr_db={r['seg_snr_db']:.2f} "
          f"lag={r['lag']} frames={r['frames']}")
    if a.bands:
        print(" ".join(f"nmr_{lo}_{hi}={v:.1f}" for lo, hi, v in r["regions"]))


if __name__ == "__main__":
    main()
