#include "masking.hpp"

#include <cmath>

namespace zemenc {
namespace {

constexpr int16_t kLong[3][23] = {{0,  4,  8,   12,  16,  20,  24,  30,  36,  44,  52, 62,
                                   74, 90, 110, 134, 162, 196, 238, 288, 342, 418, 576},
                                  {0,  4,  8,   12,  16,  20,  24,  30,  36,  42,  50, 60,
                                   72, 88, 106, 128, 156, 190, 230, 276, 330, 384, 576},
                                  {0,  4,   8,   12,  16,  20,  24,  30,  36,  44,  54, 66,
                                   82, 102, 126, 156, 194, 240, 296, 364, 448, 550, 576}};
constexpr int16_t kShort[3][14] = {{0, 4, 8, 12, 16, 22, 30, 40, 52, 66, 84, 106, 136, 192},
                                   {0, 4, 8, 12, 16, 22, 28, 38, 50, 64, 80, 100, 126, 192},
                                   {0, 4, 8, 12, 16, 22, 30, 42, 58, 78, 104, 138, 180, 192}};

// Noise and energy of lines [from, to) quantised with step 2^(exponent / 4), in units of the
// transform's Q26 scale.
bool over(const int32_t* x, const int32_t* q, int from, int to, double exponent, double ratio) {
    const double step = std::exp2(exponent / 4.0) * 67108864.0;
    double noise = 0.0, energy = 0.0;
    for (int i = from; i < to; ++i) {
        const double a = std::fabs(double(x[i])), m = std::abs(q[i]);
        const double d = a - m * std::cbrt(m) * step;
        noise += d * d;
        energy += a * a;
    }
    return noise > ratio * energy;
}

} // namespace

const int16_t* long_bands(int samplingFrequency) { return kLong[samplingFrequency]; }
const int16_t* short_bands(int samplingFrequency) { return kShort[samplingFrequency]; }

int bands_over(const int32_t* spectrum, const int32_t* quantised, const int8_t* sf,
               const ZemMp3GranuleRec& g, const float* ratio, int samplingFrequency,
               const int32_t* isStart) {
    const double sfStep = g.scalefac_scale ? 4.0 : 2.0; // quarter steps per scale-factor unit
    int count = 0;
    if (g.block_type != 2) {
        const int16_t* b = kLong[samplingFrequency];
        for (int band = 0; band < 21; ++band) {
            if (ratio[band] <= 0.0f || (isStart != nullptr && band >= isStart[0]))
                continue;
            count += over(spectrum, quantised, b[band], b[band + 1],
                          g.global_gain - 210 - sfStep * sf[band], ratio[band]);
        }
        return count;
    }
    const int16_t* b = kShort[samplingFrequency];
    for (int band = 0; band < 12; ++band)
        for (int w = 0; w < 3; ++w) {
            const int u = 3 * band + w, width = b[band + 1] - b[band];
            if (ratio[u] <= 0.0f || (isStart != nullptr && band >= isStart[w]))
                continue;
            const int from = 3 * b[band] + w * width;
            count += over(spectrum, quantised, from, from + width,
                          g.global_gain - 210 - 8 * g.subblock_gain[w] - sfStep * sf[u], ratio[u]);
        }
    return count;
}

} // namespace zemenc
