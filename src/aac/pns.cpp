// Perceptual noise substitution: bands of codebook 13 are filled with pseudo-random noise of
// unit energy, scaled by their noise energy 2^(sf/4). Works on the window-ordered spectrum
// (windows winLen values apart), with one scale-factor row per window.
#include "aac/spectrum_layout.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "zemac.h"

namespace zem::aac {

namespace {

constexpr int kMsRow = 60;   // bytes per group row of M/S flags
constexpr int kSeedRow = 60; // generator states per group row of pNoiseSeeds

// round(1844674407 / sqrt(w)) for band widths w = 1..96.
struct NoiseAmplitudes {
    int32_t a[97];
};

constexpr NoiseAmplitudes make_noise_amplitudes() {
    NoiseAmplitudes t{};
    for (int w = 1; w <= 96; ++w)
        t.a[w] = int32_t(cmath::round_to_int(1844674407.0 / cmath::sqrt(double(w))));
    return t;
}

constexpr NoiseAmplitudes kNoiseAmplitude = make_noise_amplitudes();
// 2^(k/4) in Q30, k = 0..3, as the noise gains are defined: rounded, except 2^(1/4)
// (1276901416.78), which is truncated.
constexpr cmath::QuarterPowers<4> make_noise_gains() {
    auto t = cmath::quarter_powers<4>(0, 1, 30, cmath::Rounding::Nearest);
    t.v[1] = cmath::quarter_power_fixed(1, 30, cmath::Rounding::Down);
    return t;
}
constexpr cmath::QuarterPowers<4> kNoiseGain = make_noise_gains();
static_assert(kNoiseGain ==
              cmath::QuarterPowers<4>{{1073741824, 1276901416, 1518500250, 1805811301}});

uint32_t next_seed(uint32_t seed) { return seed * 1664525u + 1013904223u; }

// Fills one band with noise from the generator state `seed` and scales it to energy 2^(sf/2).
void fill_noise(int32_t* v, int width, uint32_t& seed, uint16_t sf) {
    const int64_t a = kNoiseAmplitude.a[width < 96 ? width : 96];
    uint32_t energy = 0;
    for (int i = 0; i < width; ++i) {
        seed = next_seed(seed);
        v[i] = int32_t(uint32_t(uint64_t((a * int32_t(seed)) >> 30)));
        energy += uint32_t(uint64_t(int64_t(v[i]) * v[i]) >> 32) >> 1;
    }
    if (energy != 0) {
        // y ~ 2^30 / sqrt(m / 2^31) for the energy m normalised into [2^30, 2^32).
        int k = 0;
        int64_t m = energy;
        while (m < (int64_t(1) << 30)) {
            m <<= 1;
            ++k;
        }
        const int64_t mm = int64_t((uint64_t(m) * uint64_t(m)) >> 32);
        const int64_t y = (-16760 * m + 13563 * mm + 0x239180000000) >> 14;
        const int h = (k >> 1) - 1;
        for (int i = 0; i < width; ++i) {
            const int64_t p = y * v[i];
            int32_t r = int32_t(uint32_t(uint64_t(h < 1 ? p >> (30 - h) : (p >> 30) << h)));
            if (k & 1)
                r = int32_t(uint32_t(uint64_t((int64_t(r) * 1518500249) >> 30)));
            v[i] = r;
        }
    }
    // Gain 2^(sf/4): (2^(sf >> 2) gain2[sf & 3]) >> 20, held in 32 bits.
    const int shift = sf >> 2;
    const uint64_t g64 = shift < 64 ? (uint64_t(1) << shift) * uint64_t(kNoiseGain.v[sf & 3]) : 0;
    const int32_t g = int32_t(uint32_t(g64 >> 20));
    for (int i = 0; i < width; ++i)
        v[i] = mul_hi32(g, v[i]) >> 6;
}

struct PnsArgs {
    int32_t* spec;
    int32_t* ltpUsed;
    const uint8_t* sfbCb;
    const int16_t* sf;
    int maxSfb, numWinGrp;
    const int32_t* winGrpLen;
    int sfIndex, winLen;
    uint32_t* seed;
};

ZemStatus check_pns(const PnsArgs& a) {
    if (any_null(a.spec, a.ltpUsed, a.sfbCb, a.sf, a.winGrpLen, a.seed))
        return zemStatusNullPointer;
    if (a.maxSfb < 0 || a.maxSfb > 51)
        return zemStatusAacBadMaxSfb;
    if (a.numWinGrp < 1 || a.numWinGrp > 8)
        return zemStatusAacBadWindowGroupCount;
    if (a.sfIndex < 0 || a.sfIndex > 11)
        return zemStatusAacBadSampleRateIndex;
    if (a.winLen != 128 && a.winLen != 1024)
        return zemStatusAacBadWindowLength;
    if ((a.winLen == 1024 && a.numWinGrp != 1) ||
        !valid_group_lengths(a.winLen, a.numWinGrp, a.winGrpLen))
        return zemStatusAacBadWindowGroupCount;
    if (a.maxSfb > swb_table(a.sfIndex, a.winLen).count)
        return zemStatusAacBadMaxSfb;
    return zemStatusOk;
}

// Runs over every noise band of every window; `generator(g, b)` picks the state to draw from.
template <typename Generator> void substitute(const PnsArgs& a, Generator&& generator) {
    const SwbTable& bands = swb_table(a.sfIndex, a.winLen);
    int window = 0;
    for (int g = 0; g < a.numWinGrp; ++g) {
        for (int w = 0; w < a.winGrpLen[g]; ++w, ++window) {
            for (int b = 0; b < a.maxSfb; ++b) {
                if (a.sfbCb[g * a.maxSfb + b] != 13)
                    continue;
                if (a.numWinGrp == 1)
                    a.ltpUsed[b + 1] = 0;
                const int lo = bands.offset[b];
                fill_noise(a.spec + window * a.winLen + lo, bands.offset[b + 1] - lo,
                           generator(g, b), uint16_t(a.sf[window * a.maxSfb + b]));
            }
        }
    }
}

} // namespace

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsDecodePNS_AAC_32s(int32_t* pSrcDst, int32_t* pLtpUsed, const uint8_t* pSfbCb,
                                        const int16_t* pSf, int32_t maxSfb, int32_t numWinGrp,
                                        const int32_t* pWinGrpLen, int32_t sfIndex, int32_t winLen,
                                        uint32_t* pSeed) {
    const PnsArgs a{pSrcDst,   pLtpUsed,   pSfbCb,  pSf,    maxSfb,
                    numWinGrp, pWinGrpLen, sfIndex, winLen, pSeed};
    if (const ZemStatus st = check_pns(a); st != 0)
        return st;
    substitute(a, [&](int, int) -> uint32_t& { return *pSeed; });
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDecodeMsPNS_AAC_32s(int32_t* pSrcDst, int32_t* pLtpUsed,
                                          const uint8_t* pSfbCb, const int16_t* pSf, int32_t maxSfb,
                                          int32_t numWinGrp, const int32_t* pWinGrpLen,
                                          int32_t sfIndex, int32_t winLen, uint32_t* pSeed,
                                          int32_t channel, const uint8_t* pMsUsedRows,
                                          uint32_t* pNoiseSeeds) {
    const PnsArgs a{pSrcDst,   pLtpUsed,   pSfbCb,  pSf,    maxSfb,
                    numWinGrp, pWinGrpLen, sfIndex, winLen, pSeed};
    if (any_null(pMsUsedRows, pNoiseSeeds))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_pns(a); st != 0)
        return st;
    if (channel != 0 && channel != 1)
        return zemStatusBadArgument;
    uint32_t copy = 0;
    substitute(a, [&](int g, int b) -> uint32_t& {
        uint32_t& stored = pNoiseSeeds[g * kSeedRow + b];
        if (channel == 0) {
            stored = *pSeed; // the right channel may replay this band's noise
            return *pSeed;
        }
        if (pMsUsedRows[g * kMsRow + b] == 1) {
            copy = stored;
            return copy;
        }
        return *pSeed;
    });
    return zemStatusOk;
}
