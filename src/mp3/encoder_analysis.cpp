// The encoder's time-to-frequency path: the fixed-point polyphase analysis of one time slot and
// the forward hybrid transform of a granule, the mirrors of the decoder's synthesis.
#include <cmath>
#include <cstdint>

#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "mp3/hybrid_constants.hpp"
#include "mp3/pqmf_tables.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "tables/mp3_window.hpp"
#include "transform/twiddle.hpp"
#include "zemac.h"

namespace zem::mp3 {
namespace {

// The matrixing's cosines by input: row n holds cos((2k + 1) n pi/64) for k = 0..31.
struct CosinesByInput {
    alignas(16) double c[32][32];
};
constexpr CosinesByInput make_cosines_by_input() {
    constexpr PqmfCosines<double> byOutput = make_pqmf_cosines<double>();
    CosinesByInput t{};
    for (int n = 0; n < 32; ++n)
        for (int k = 0; k < 32; ++k)
            t.c[n][k] = byOutput.c[k][n];
    return t;
}
constexpr CosinesByInput kCosByInput = make_cosines_by_input();

// The analysis window C = D / 32 in Q30 (D's units of 2^-16 shifted left by 9), below 2^26 in
// magnitude, reversed (c[m] = C[511 - m], so that it meets the slot's samples in their order)
// and split for 16-bit multiply-adds: c = hi 2^13 + lo with lo in [0, 2^13). Sums of eight
// products of either half with 16-bit samples fit 32 bits, so the windowing stays exact. Rows
// of 64 come in pairs: pair p interleaves rows 2p and 2p + 1, value by value.
struct SplitWindow {
    alignas(16) int16_t hi[4][128];
    alignas(16) int16_t lo[4][128];
};
constexpr SplitWindow make_split_window() {
    SplitWindow w{};
    for (int p = 0; p < 4; ++p)
        for (int r = 0; r < 64; ++r)
            for (int k = 0; k < 2; ++k) {
                const int32_t c = kSynthesisWindow16[511 - (64 * (2 * p + k) + r)] * 512;
                const int32_t hi = c >= 0 ? c / 8192 : -((-c + 8191) / 8192);
                w.hi[p][2 * r + k] = int16_t(hi);
                w.lo[p][2 * r + k] = int16_t(c - hi * 8192);
            }
    return w;
}
constexpr SplitWindow kSplitWindow = make_split_window();
static_assert(kSplitWindow.lo[0][0] >= 0 && kSplitWindow.lo[0][0] < 8192);

// Forward transforms with their gains and windows folded in: 4/9 of the 36-point MDCT for the
// long types 0, 1 and 3 (rows 0, 1, 2), 4/3 of the 12-point one for short windows.
struct ForwardTables {
    alignas(16) double longColumns[3][36][18]; // [type row][input i][output k]
    double shortRows[6][12];
};

constexpr ForwardTables make_forward_tables() {
    ForwardTables t{};
    constexpr int kTypes[3] = {0, 1, 3};
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 18; ++k)
            for (int i = 0; i < 36; ++i)
                t.longColumns[r][i][k] = 4.0 / 9.0 * long_window(kTypes[r], i) *
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

// The 18 lines two at a time, each line's sum over the inputs in order.
void forward_long(const double* z, int type, int32_t* out) {
    using simd::F64x2;
    const int row = type == 0 ? 0 : type == 1 ? 1 : 2;
    F64x2 s[9];
#pragma GCC unroll 9
    for (F64x2& v : s)
        v = simd::splat(0.0);
    for (int i = 0; i < 36; ++i) {
        const F64x2 v = simd::splat(z[i]);
        const double* c = kForward.longColumns[row][i];
#pragma GCC unroll 9
        for (int p = 0; p < 9; ++p)
            s[p] = s[p] + simd::load_aligned(c + 2 * p) * v;
    }
    alignas(16) double sums[18];
#pragma GCC unroll 9
    for (int p = 0; p < 9; ++p)
        simd::store_aligned(sums + 2 * p, s[p]);
    for (int k = 0; k < 18; ++k)
        out[k] = round_sat32(sums[k]);
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
    // X[n] is the window's sample 511 - n, so Y[i] = sum over j of C[i + 64 j] X[i + 64 j] sums
    // the products c[m] s[m] over m = 511 - i - 64 j, the rows' r = 63 - i; the Q30 sums
    // rounded to Q25.
    using namespace simd;
    const int16_t* s = pSrc;
    alignas(16) int16_t own[512];
    if (numCh == 2) { // the last eight apart: a vector load would read past pSrc[1022]
        for (int m = 0; m < 504; m += 8)
            store_words(own + m,
                        even_words(load_words(pSrc + 2 * m), load_words(pSrc + 2 * m + 8)));
        for (int m = 504; m < 512; ++m)
            own[m] = pSrc[2 * m];
        s = own;
    }
    int32_t y[64];
    for (int r = 0; r < 64; r += 8) {
        I32x4 hiLow = splat(0), hiHigh = hiLow, loLow = hiLow, loHigh = hiLow;
        for (int p = 0; p < 4; ++p) {
            const I32x4 even = load_words(s + 128 * p + r), odd = load_words(s + 128 * p + 64 + r);
            const I32x4 first = zip_lo16(even, odd), second = zip_hi16(even, odd);
            hiLow = hiLow + madd16(first, load_words(kSplitWindow.hi[p] + 2 * r));
            hiHigh = hiHigh + madd16(second, load_words(kSplitWindow.hi[p] + 2 * r + 8));
            loLow = loLow + madd16(first, load_words(kSplitWindow.lo[p] + 2 * r));
            loHigh = loHigh + madd16(second, load_words(kSplitWindow.lo[p] + 2 * r + 8));
        }
        alignas(16) int32_t hi[8], lo[8];
        store(hi, hiLow);
        store(hi + 4, hiHigh);
        store(lo, loLow);
        store(lo + 4, loHigh);
        for (int k = 0; k < 8; ++k)
            y[63 - r - k] = int32_t((int64_t(hi[k]) * 8192 + lo[k] + (int64_t(1) << 19)) >> 20);
    }
    int32_t a[32];
    fold_window_sums(y, a);
    // The cosine sums sixteen outputs at a time, each over n in order (eight chains of additions
    // in flight).
    for (int k = 0; k < 32; k += 16) {
        F64x2 s0 = simd::splat(0.0), s1 = s0, s2 = s0, s3 = s0, s4 = s0, s5 = s0, s6 = s0, s7 = s0;
        for (int n = 0; n < 32; ++n) {
            const F64x2 v = simd::splat(double(a[n]));
            const double* c = kCosByInput.c[n] + k;
            s0 = s0 + simd::load_aligned(c) * v;
            s1 = s1 + simd::load_aligned(c + 2) * v;
            s2 = s2 + simd::load_aligned(c + 4) * v;
            s3 = s3 + simd::load_aligned(c + 6) * v;
            s4 = s4 + simd::load_aligned(c + 8) * v;
            s5 = s5 + simd::load_aligned(c + 10) * v;
            s6 = s6 + simd::load_aligned(c + 12) * v;
            s7 = s7 + simd::load_aligned(c + 14) * v;
        }
        alignas(16) double sums[16];
        const F64x2 all[8] = {s0, s1, s2, s3, s4, s5, s6, s7};
        for (int q = 0; q < 8; ++q)
            simd::store_aligned(sums + 2 * q, all[q]);
        for (int q = 0; q < 16; ++q)
            pDst[k + q] = round_sat32(0.5 * sums[q]);
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
