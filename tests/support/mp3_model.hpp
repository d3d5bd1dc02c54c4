// A slow double-precision Layer III decoder back end, evaluated from the equations of
// ISO/IEC 11172-3 clause 2.4.3.4 and ISO/IEC 13818-3 (requantisation, M/S and intensity stereo,
// reordering, alias reduction, IMDCT with windowing and overlap, polyphase synthesis), in units
// of full scale. It takes what the bit stream carries, decoded, and checks the library's kernels
// and the sample decoder.
#pragma once

#include <cstdint>
#include <vector>

namespace zemtest::mp3model {

// One granule of one channel.
struct Channel {
    int block_type = 0;
    bool mixed = false;
    int global_gain = 210, scalefac_scale = 0, preflag = 0;
    int subblock_gain[3] = {};
    int intensity_scale = 0;       // MPEG-2: bit 0 of the right channel's scalefac_compress
    int sfLong[21] = {};           // long bands 0-20 (mixed blocks: the long part)
    int sfShort[12][3] = {};       // short bands 0-11, by window
    bool illegalLong[21] = {};     // MPEG-2 right channel: the position is 2^slen - 1
    bool illegalShort[12][3] = {}; // (MPEG-1 positions are illegal at 7 by value)
    std::vector<int32_t> q = std::vector<int32_t>(576, 0); // quantised values, stream order
};

struct Granule {
    bool mpeg1 = true;
    int sampling_frequency = 0; // index 0-2
    bool ms = false, is = false;
    int nch = 2;
    Channel ch[2];
};

// Requantised, stereo-decoded and reordered spectra (sub-band order), 576 values per channel.
void dequantise(const Granule& g, std::vector<double> xr[2]);

// The synthesis of one channel, with its overlap and polyphase history.
class Synthesis {
  public:
    // Alias reduction (in place on xr), IMDCT, overlap-add and frequency inversion: sub-band
    // samples y[32 t + sb].
    void hybrid(std::vector<double>& xr, int block_type, bool mixed, std::vector<double>& y);
    // The polyphase bank for one time slot of 32 sub-band samples.
    void polyphase(const double* s, double* pcm);

  private:
    std::vector<double> overlap_ = std::vector<double>(576, 0.0);
    std::vector<double> fifo_ = std::vector<double>(1024, 0.0);
};

// The windowed IMDCT of one sub-band's 18 lines into 36 values, block type 2 as three short
// transforms.
void imdct(const double* x, int block_type, double* z);

// Short-block lines of bands `first` on from band order (line k of window w of band b at
// 3 start(b) + w width(b) + k) into sub-band order (line j of window w at 18 (j / 6) + 6 w + j %
// 6).
template <class T> void to_subband_order(T* x, const int16_t* shortBands, int first) {
    const std::vector<T> in(x, x + 576);
    for (int b = first; b < 13; ++b) {
        const int width = shortBands[b + 1] - shortBands[b];
        for (int w = 0; w < 3; ++w)
            for (int k = 0; k < width; ++k) {
                const int j = shortBands[b] + k;
                x[18 * (j / 6) + 6 * w + j % 6] =
                    in[std::size_t(3 * shortBands[b] + w * width + k)];
            }
    }
}

// Full scale 1.0 to 16 bits: rounded to nearest and clipped.
int16_t to_pcm(double v);

} // namespace zemtest::mp3model
