// The encoder's time-to-frequency path: the fixed-point polyphase analysis of one time slot and
// the forward hybrid transform of a granule, the mirrors of the decoder's synthesis.
#include <cstdint>

#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "mp3/hybrid_constants.hpp"
#include "mp3/pqmf_tables.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "tables/mp3_window.hpp"
#include "transform/twiddle.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

constexpr PqmfCosines<double> kCos = make_pqmf_cosines<double>();

// The analysis window C = D / 32 in Q30: D's units of 2^-16 shifted left by 9.
constexpr int32_t analysis_window(int i) { return kSynthesisWindow16[i] * 512; }

// Forward transforms with their gains and windows folded in: 4/9 of the 36-point MDCT for the
// long types 0, 1 and 3 (rows 0, 1, 2), 4/3 of the 12-point one for short windows.
struct ForwardTables {
    double longRows[3][18][36];
    double shortRows[6][12];
};

constexpr ForwardTables make_forward_tables() {
    ForwardTables t{};
    constexpr int kTypes[3] = {0, 1, 3};
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 18; ++k)
            for (int i = 0; i < 36; ++i)
                t.longRows[r][k][i] = 4.0 / 9.0 * long_window(kTypes[r], i) *
                                      cos_sin_constexpr((2 * i + 19) * (2 * k + 1), 144.0).c;
    for (int k = 0; k < 6; ++k)
        for (int i = 0; i < 12; ++i)
            t.shortRows[k][i] =
                4.0 / 3.0 * short_window(i) * cos_sin_constexpr((2 * i + 7) * (2 * k + 1), 48.0).c;
    return t;
}

constexpr ForwardTables kForward = make_forward_tables();

// The 36 samples of sub-band sb over the previous and the current granule, with the odd slots
// of odd sub-bands negated (the frequency inversion of the synthesis).
void gather(const int32_t* previous, const int32_t* current, int sb, double* z) {
    const bool odd = sb & 1;
    for (int t = 0; t < 18; ++t) {
        const bool flip = odd && (t & 1);
        const double p = previous[32 * t + sb], c = current[32 * t + sb];
        z[t] = flip ? -p : p;
        z[18 + t] = flip ? -c : c;
    }
}

void forward_long(const double* z, int type, int32_t* out) {
    const int row = type == 0 ? 0 : type == 1 ? 1 : 2;
    for (int k = 0; k < 18; ++k) {
        double sum = 0.0;
        for (int i = 0; i < 36; ++i)
            sum += kForward.longRows[row][k][i] * z[i];
        out[k] = round_sat32(sum);
    }
}

// The three short windows of one sub-band, each line to its place in band order.
void forward_short(const double* z, int sb, const int16_t* shortBands, int32_t* dst) {
    for (int w = 0; w < 3; ++w)
        for (int k = 0; k < 6; ++k) {
            double sum = 0.0;
            for (int i = 0; i < 12; ++i)
                sum += kForward.shortRows[k][i] * z[6 + 6 * w + i];
            const int f = 6 * sb + k;
            int b = 0;
            while (shortBands[b + 1] <= f)
                ++b;
            const int width = shortBands[b + 1] - shortBands[b];
            dst[3 * shortBands[b] + w * width + f - shortBands[b]] = round_sat32(sum);
        }
}

// The encoder's butterflies across the sub-band boundary at line `boundary`, the inverse of the
// decoder's.
void alias_spread(int32_t* x, int boundary) {
    for (int i = 0; i < 8; ++i) {
        const double a = x[boundary - 1 - i], b = x[boundary + i];
        x[boundary - 1 - i] = round_sat32(a * kButterflies.cs[i] + b * kButterflies.ca[i]);
        x[boundary + i] = round_sat32(b * kButterflies.cs[i] - a * kButterflies.ca[i]);
    }
}

} // namespace
} // namespace zem::mp3

using namespace zem;
using namespace zem::mp3;

ZEM_API ZemStatus zemsAnalysisPQMF_MP3_16s32s(const int16_t* pSrc, int32_t* pDst, int32_t numCh) {
    if (any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (numCh != 1 && numCh != 2)
        return zemStatusBadArgument;
    // X[n] is the window's sample 511 - n; the Q30 sums rounded to Q25.
    int32_t y[64];
    for (int i = 0; i < 64; ++i) {
        int64_t sum = 0;
        for (int j = 0; j < 8; ++j)
            sum += int64_t(analysis_window(i + 64 * j)) * pSrc[(511 - i - 64 * j) * numCh];
        y[i] = int32_t((sum + (int64_t(1) << 19)) >> 20);
    }
    int32_t a[32];
    fold_window_sums(y, a);
    for (int k = 0; k < 32; ++k) {
        double s = 0.0;
        for (int n = 0; n < 32; ++n)
            s += kCos.c[k][n] * a[n];
        pDst[k] = round_sat32(0.5 * s);
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTFwd_MP3_32s(const int32_t* pSrc, int32_t* pDst, int32_t blockType,
                                      int32_t mixedBlock, const ZemMp3HeaderRec* pHeader,
                                      int32_t* pPrevious) {
    if (any_null(pSrc, pDst, pHeader, pPrevious))
        return zemStatusNullPointer;
    if (blockType < 0 || blockType > 3 || mixedBlock < 0 || mixedBlock > 1)
        return zemStatusBadArgument;
    if (pHeader->sampling_frequency < 0 || pHeader->sampling_frequency > 2)
        return zemStatusBadArgument;
    const int row = (pHeader->id & 1) * 3 + pHeader->sampling_frequency;
    const int16_t* shortBands = kSfbShort[row];
    int32_t out[576];
    for (int sb = 0; sb < 32; ++sb) {
        double z[36];
        gather(pPrevious, pSrc, sb, z);
        const bool longBand = mixedBlock == 1 && sb < 2;
        if (blockType == 2 && !longBand)
            forward_short(z, sb, shortBands, out);
        else
            forward_long(z, longBand ? 0 : blockType, out + 18 * sb);
    }
    const int boundaries = blockType != 2 ? 32 : mixedBlock == 1 ? 2 : 1;
    for (int j = 1; j < boundaries; ++j)
        alias_spread(out, 18 * j);
    for (int i = 0; i < 576; ++i) {
        pDst[i] = out[i];
        pPrevious[i] = pSrc[i];
    }
    return zemStatusOk;
}
