#!/usr/bin/env python3
"""Decodes an AAC-LC ADTS file stage by stage and shows the spectrum of one frame.

    adts_spectrum.py FILE.aac [FRAME] [OUTPUT]

Every frame up to FRAME goes through the library's stages (ADTS header, element parsing,
noiseless decoding, inverse quantisation, M/S and intensity stereo, TNS, inverse filter bank),
so that the filter bank's state is that of a real decoder. The spectrum of the first channel of
FRAME, as the filter bank receives it, is plotted into OUTPUT (default spectrum.png) when
matplotlib is installed, and written as CSV otherwise (OUTPUT default: standard output).
Levels are in dB relative to a coefficient of 32768 at 16-bit PCM scale.
"""
import sys

import numpy as np

from zemac import aac


def frame_spectrum(data, frame_wanted):
    """(header, window sequence and spectrum of channel 0, PCM) of frame frame_wanted."""
    decoder = None
    for n, (_, header, cursor) in enumerate(aac.adts_frames(data)):
        if header["profile"] != 1:
            sys.exit(f"frame {n}: profile {header['profile']} is not AAC-LC")
        decoder = decoder or aac.LcDecoder(header["sampling_frequency_index"])
        for _ in range(header["raw_data_block_count"]):  # the frame's last block is shown
            pcm = decoder.raw_data_block(cursor)
        if n == frame_wanted:
            window_sequence, spec = decoder.last[0]
            return header, window_sequence, spec, np.stack(pcm, axis=1)
    sys.exit(f"the stream has fewer than {frame_wanted + 1} frames")


def main(argv):
    path = argv[0]
    frame_wanted = int(argv[1]) if len(argv) > 1 else 10
    output = argv[2] if len(argv) > 2 else None
    with open(path, "rb") as f:
        header, window_sequence, spec, pcm = frame_spectrum(f.read(), frame_wanted)
    rate = aac.SAMPLE_RATES[header["sampling_frequency_index"]]
    # The spectrum is at 8 times the PCM scale; eight short windows are shown by their mean power.
    lines = 128 if window_sequence == 2 else 1024
    power = np.mean((spec.reshape(-1, lines).astype(np.float64) / 8) ** 2, axis=0)
    freq = (np.arange(lines) + 0.5) * rate / (2 * lines)
    level = 10 * np.log10(np.maximum(power, 1e-12) / 32768**2)
    print(f"frame {frame_wanted}: {rate} Hz, {pcm.shape[1]} channel(s), window sequence "
          f"{window_sequence}, "
          f"{np.count_nonzero(spec)} non-zero lines, PCM peak {np.abs(pcm).max()}",
          file=sys.stderr)
    try:
        import matplotlib

        matplotlib.use("Agg")
        import matplotlib.pyplot as plt
    except ImportError:
        out = open(output, "w") if output else sys.stdout
        out.write("frequency_hz,level_db\n")
        out.writelines(f"{f:.1f},{v:.2f}\n" for f, v in zip(freq, level))
        return 0
    plt.plot(freq, level)
    plt.xlabel("frequency (Hz)")
    plt.ylabel("level (dB)")
    plt.title(f"{path}, frame {frame_wanted}, channel 0")
    plt.savefig(output or "spectrum.png")
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
