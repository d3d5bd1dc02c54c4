"""Checks of bench/nmr_meter.py on short synthetic signals (run with pytest)."""
import os
import subprocess
import sys
import wave

import pytest

np = pytest.importorskip("numpy")
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import nmr_meter  # noqa: E402

RATE = 48000
SECONDS = 2.0


def tone(freq, level, rate=RATE):
    t = np.arange(int(SECONDS * rate)) / rate
    return level * 32767.0 * np.sin(2 * np.pi * freq * t)


def band_noise(lo, hi, rms, seed, rate=RATE):
    """Gaussian noise limited to lo..hi Hz, scaled to the given RMS (int16 units)."""
    n = int(SECONDS * rate)
    spec = np.fft.rfft(np.random.default_rng(seed).standard_normal(n))
    f = np.fft.rfftfreq(n, 1 / rate)
    spec[(f < lo) | (f > hi)] = 0
    x = np.fft.irfft(spec, n)
    return x * rms / np.sqrt(np.mean(x**2))


def nmr(ref, test, rate=RATE):
    return nmr_meter.measure(ref[None], test[None], rate)["nmr_total_db"]


def test_calibration_and_bands():
    # A full-scale sine peaks at 92 dB SPL (before the ear weighting), and the bands tile
    # 80 Hz .. 18 kHz in quarter-Bark steps.
    peak = nmr_meter._magnitudes(tone(1019.5, 1.0)).max() * nmr_meter.LEVEL_GAIN
    assert 20 * np.log10(peak) == pytest.approx(92.0, abs=0.01)
    assert nmr_meter.BANDS == 109
    assert nmr_meter.BAND_LO[0] == 80.0 and nmr_meter.BAND_HI[-1] == 18000.0
    assert np.allclose(nmr_meter.BAND_HI[:-1], nmr_meter.BAND_LO[1:])
    assert np.allclose(np.diff(nmr_meter.bark(nmr_meter.BAND_LO)), 0.25)


def test_identical_is_silent_and_noise_is_monotone():
    ref = tone(440, 0.3) + tone(2500, 0.05)
    assert nmr(ref, ref) < -30
    white = np.random.default_rng(1).standard_normal(len(ref))
    values = []
    for db in (-70, -50, -30, -10):
        test = ref + white * 32767.0 * 10 ** (db / 20)
        r = nmr_meter.measure(ref[None], test[None], RATE)
        values.append(r["nmr_total_db"])
        # Segmental SNR of white noise at a known level, to a fraction of a dB.
        signal_db = 10 * np.log10(np.mean(ref**2) / 32767.0**2)
        assert r["seg_snr_db"] == pytest.approx(signal_db - db, abs=0.5)
    assert all(b > a + 5 for a, b in zip(values, values[1:])), values
    assert values[-1] > 0  # noise 10 dB below full scale is clearly audible on this signal


def test_masking_tone_hides_nearby_noise():
    # The same noise power just above a loud 1 kHz tone and in an empty band at 6 kHz.
    ref = tone(1000, 0.5)
    rms = 32767.0 * 10 ** (-50 / 20)
    near = nmr(ref, ref + band_noise(1050, 1150, rms, 2))
    far = nmr(ref, ref + band_noise(6000, 6300, rms, 2))
    assert near < far - 10, (near, far)
    # Masking spreads further upward than downward.
    below = nmr(ref, ref + band_noise(700, 760, rms, 3))
    above = nmr(ref, ref + band_noise(1300, 1400, rms, 3))
    assert above < below, (above, below)


def write_wav(path, channels, rate):
    data = np.clip(np.round(np.stack(channels, axis=1)), -32768, 32767).astype("<i2")
    with wave.open(str(path), "wb") as w:
        w.setnchannels(len(channels))
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(data.tobytes())


def test_command_line_stereo_44k_with_lag(tmp_path):
    # A 44.1 kHz stereo pair whose test channels are late by 100 samples: the lag is found,
    # reported and, with --align, compensated.
    rate = 44100
    left = tone(330, 0.3, rate) + band_noise(200, 8000, 2000, 4, rate)
    right = tone(523, 0.2, rate) + band_noise(300, 5000, 1000, 5, rate)
    noise = band_noise(50, 20000, 30, 6, rate)
    delayed = [np.concatenate((np.zeros(100), ch[:-100])) for ch in (left + noise, right)]
    write_wav(tmp_path / "ref.wav", [left, right], rate)
    write_wav(tmp_path / "test.wav", delayed, rate)
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "nmr_meter.py")

    def run(*extra):
        out = subprocess.run([sys.executable, script, *extra, str(tmp_path / "ref.wav"),
                              str(tmp_path / "test.wav")], check=True, capture_output=True,
                             text=True).stdout
        return dict(kv.split("=") for kv in out.split())

    plain = run()
    aligned = run("--align", "--bands")
    assert plain["lag"] == "100" and aligned["lag"] == "100"
    # The error spectrum compares magnitudes, so a delay barely moves the NMR; the segmental SNR
    # shows it. Aligned, the result is that of the undelayed pair (rounded to 16 bits).
    assert float(plain["seg_snr_db"]) < 10 < 40 < float(aligned["seg_snr_db"])
    ref = np.round(np.stack([left, right]))[:, :-100]
    direct = nmr_meter.measure(ref, np.round(np.stack([left + noise, right]))[:, :-100], rate)
    assert float(aligned["nmr_total_db"]) == pytest.approx(direct["nmr_total_db"], abs=0.5)
    assert float(aligned["seg_snr_db"]) == pytest.approx(direct["seg_snr_db"], abs=0.5)
    assert "nmr_16000_18000" in aligned
