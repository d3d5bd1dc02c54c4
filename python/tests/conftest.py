import os
import pathlib
import struct
import subprocess

import numpy as np
import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session")
def root():
    return ROOT


@pytest.fixture(scope="session")
def zemdec_pcm(tmp_path_factory):
    """PCM (samples x channels) of zemdec's output for a file; ZEMDEC names the program."""
    program = os.environ.get("ZEMDEC")
    if not program:
        pytest.skip("ZEMDEC is not set")
    out = tmp_path_factory.mktemp("zemdec")

    def decode(path, *options):
        wav = out / (path.name + ".wav")
        subprocess.run([program, *options, str(path), str(wav)], check=True, capture_output=True)
        return read_wav(wav)

    return decode


def read_wav(path):
    data, i, channels = path.read_bytes(), 12, None
    while i + 8 <= len(data):
        chunk, size = data[i : i + 4], struct.unpack("<I", data[i + 4 : i + 8])[0]
        if chunk == b"fmt ":
            channels = struct.unpack("<H", data[i + 10 : i + 12])[0]
        elif chunk == b"data":
            return np.frombuffer(data[i + 8 : i + 8 + size], np.int16).reshape(-1, channels)
        i += 8 + size
    raise ValueError(f"{path}: no data chunk")
