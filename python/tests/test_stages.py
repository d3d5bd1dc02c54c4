"""The stage layer end to end: the same PCM as zemdec, which assembles the stages in C++."""
import csv
import io
import os
import subprocess
import sys

import numpy as np
import pytest

from zemac import aac, mp3


@pytest.mark.parametrize("name", ["stereo_44100.aac", "stereo_44100_ms.aac", "mono_16000_nopns.aac"])
def test_aac_lc_stages_decode_as_zemdec(root, zemdec_pcm, name):
    path = root / "tests/data/aac" / name
    pcm = aac.decode_adts(path.read_bytes(), frames=30)
    ref = zemdec_pcm(path)
    assert pcm.shape[1] == ref.shape[1]
    assert np.array_equal(pcm, ref[: len(pcm)])


@pytest.mark.parametrize("name", ["mpeg1_44100_128_joint.mp3", "mpeg2_22050_64_joint.mp3",
                                  "mpeg1_32000_32_mono.mp3"])
def test_mp3_stages_decode_as_zemdec(root, zemdec_pcm, name):
    path = root / "tests/data/mp3" / name
    pcm = mp3.decode(path.read_bytes(), frames_wanted=30)
    ref = zemdec_pcm(path, "--no-gapless")
    assert pcm.shape[1] == ref.shape[1]
    assert np.array_equal(pcm, ref[: len(pcm)])


def run_example(root, *args):
    env = dict(os.environ, PYTHONDONTWRITEBYTECODE="1")
    return subprocess.run([sys.executable, str(root / "python/examples" / args[0]), *args[1:]],
                          capture_output=True, text=True, env=env)


def test_spectrum_example_finds_the_sample_tone(root):
    # Left channel of the sample: a 440 Hz tone.
    run = run_example(root, "adts_spectrum.py", str(root / "samples/tone_stereo_44k.aac"), "20")
    assert run.returncode == 0, run.stderr
    if run.stdout:  # CSV when matplotlib is missing
        rows = list(csv.DictReader(io.StringIO(run.stdout)))
        peak = max(rows, key=lambda r: float(r["level_db"]))
        assert abs(float(peak["frequency_hz"]) - 440) < 22


@pytest.mark.parametrize("frame, granule", [(0, 1), (10, 0)])  # short blocks, long blocks
def test_synthesis_example_agrees_with_the_float_model(root, frame, granule):
    path = root / "tests/data/mp3/mpeg1_44100_128_joint.mp3"
    run = run_example(root, "mp3_granule_model.py", str(path), str(frame), str(granule))
    assert run.returncode == 0, run.stdout + run.stderr
