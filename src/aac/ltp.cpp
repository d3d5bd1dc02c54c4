// AAC long-term prediction around the filter bank: the predicted time signal from the history of
// reconstructed frames, its transformed estimate added to the flagged bands, and the history
// brought up to date with the current frame through the filter bank's own inverse core.
#include <cstdint>
#include <cstring>

#include "aac/mdct_core.hpp"
#include "aac/overlap_kernels.hpp"
#include "aac/window_halves.hpp"
#include "core/checks.hpp"
#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "tables/aac_swb.hpp"
#include "zemac.h"

namespace zem::aac {
namespace {

// The low 32 bits of (v c) >> 14, c the Q14 coefficient read as signed.
int32_t scaled(int32_t v, int32_t c) { return int32_t(uint32_t(uint64_t((int64_t(v) * c) >> 14))); }

// hi(w (2 y)) with 2 y formed in 32 bits; the flat parts pass y or nothing.
int32_t windowed(int64_t w, int32_t y) {
    if (w == kZero)
        return 0;
    if (w == kOne)
        return y;
    return hi32(w * int64_t(wrap_shl(y, 1)));
}

bool valid_sequence(int32_t seq) { return seq >= 0 && seq <= 3; }

// The prediction's scaling of a run of history values, a vector at a time; returns how many it
// did (the rest is the caller's).
int scale_run_sse2(const int32_t* from, int32_t* to, int n, int16_t c) {
    int i = 0;
    for (; i + 4 <= n; i += 4)
        simd::store(to + i, simd::mul16_shr(simd::load(from + i), c, 14));
    return i;
}
#if ZEM_HAS_AVX2_KERNELS
// Eight at a time: the even and odd lanes' exact 64-bit products, of which bits 14..45 are the
// low word of the product shifted by 14.
ZEM_AVX2 int scale_run_avx2(const int32_t* from, int32_t* to, int n, int16_t c) {
    using namespace simd;
    const I32x8 cc = splat8(c);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const I32x8 v = load8(from + i);
        store(to + i, low_words(shr(mul_even(v, cc), 14), shr(mul_even(odd_words(v), cc), 14)));
    }
    return i;
}
#endif
int scale_run(const int32_t* from, int32_t* to, int n, int16_t c) {
    return ZEM_CHOSEN_KERNELS(scale_run_sse2, scale_run_avx2)(from, to, n, c);
}

} // namespace
} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsLongTermPredict_AAC_32s(const int32_t* pHistory, int32_t* pPred,
                                              const ZemAacLtpRec* pLtp, int32_t windowSequence) {
    if (any_null(pHistory, pPred, pLtp))
        return zemStatusNullPointer;
    if (!valid_sequence(windowSequence))
        return zemStatusAacBadWindowSequence;
    const int32_t c = int16_t(pLtp->ltp_coef);
    if (windowSequence != EightShort) {
        const int32_t lag = pLtp->ltp_lag < 0 ? 0 : pLtp->ltp_lag > 2047 ? 2047 : pLtp->ltp_lag;
        const int count = lag + 1024 < 2048 ? lag + 1024 : 2048;
        const int32_t* from = pHistory + 2048 - lag;
        for (int i = scale_run(from, pPred, count, int16_t(c)); i < 2048; ++i)
            pPred[i] = i < count ? scaled(from[i], c) : 0;
        return zemStatusOk;
    }
    for (int w = 0; w < 8; ++w) {
        if (pLtp->ltp_short_used[w] == 0)
            continue;
        const int32_t lag = pLtp->ltp_window_lag[w];
        // Samples past the history's end (a negative lag) are zero.
        for (int i = 0; i < 256; ++i) {
            const int at = 2816 - lag + i;
            pPred[256 * w + i] =
                at >= 0 && at < 3072 && i < 256 + (lag < 0 ? lag : 0) ? scaled(pHistory[at], c) : 0;
        }
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsLongTermReconstruct_AAC_32s(const int32_t* pEst, int32_t* pSrcDst,
                                                  const int32_t* pFlags, int32_t windowSequence,
                                                  int32_t samplingFreqIndex) {
    if (any_null(pSrcDst, pEst, pFlags))
        return zemStatusNullPointer;
    if (!valid_sequence(windowSequence))
        return zemStatusAacBadWindowSequence;
    if (samplingFreqIndex < 0 || samplingFreqIndex > 11)
        return zemStatusAacBadSampleRateIndex;
    if (windowSequence != EightShort) {
        const SwbTable& t = swb_long(samplingFreqIndex);
        for (int b = 0; b < 40 && b < t.count; ++b)
            if (pFlags[b + 1] != 0)
                for (int k = t.offset[b]; k < t.offset[b + 1]; ++k)
                    pSrcDst[k] = wrap_add(pSrcDst[k], pEst[k]);
        return zemStatusOk;
    }
    const SwbTable& t = swb_short(samplingFreqIndex);
    for (int w = 0; w < 8; ++w)
        if (pFlags[w] != 0)
            for (int b = 0; b < 8 && b < t.count; ++b)
                for (int k = t.offset[b]; k < t.offset[b + 1]; ++k)
                    pSrcDst[128 * w + k] = wrap_add(pSrcDst[128 * w + k], pEst[128 * w + k]);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsLtpUpdate_AAC_32s(const int32_t* pSpec, int32_t* pHistory,
                                        int32_t windowSequence, int32_t windowShape,
                                        int32_t prevWindowShape, int32_t* pWorkBuf) {
    if (any_null(pSpec, pHistory, pWorkBuf))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_window(windowSequence, windowShape, prevWindowShape);
        st != zemStatusOk)
        return st;
    std::memmove(pHistory, pHistory + 1024, 2048 * sizeof(int32_t));
    int32_t* X = pWorkBuf;
    int32_t* u = pWorkBuf + 2048;
    if (windowSequence != EightShort) {
        std::memcpy(X, pSpec, 1024 * sizeof(int32_t));
        aac_imdct_norm_32s(X, 1024);
        if (windowSequence == OnlyLong) {
            overlap_kernels().ltp_long(X, long_window(prevWindowShape), long_window(windowShape),
                                       pHistory + 1024, pHistory + 2048);
            return zemStatusOk;
        }
        const HalfWindow rise = first_half(windowSequence, prevWindowShape);
        const HalfWindow fall = second_half(windowSequence, windowShape);
        for (int n = 0; n < 1024; ++n) {
            u[n] = windowed(rise.at(n), imdct_sample(X, 1024, n));
            u[1024 + n] = windowed(fall.at(n), imdct_sample(X, 1024, 1024 + n));
        }
        for (int n = 0; n < 1024; ++n) {
            pHistory[1024 + n] = sat32(int64_t(pHistory[1024 + n]) + u[n]);
            pHistory[2048 + n] = u[1024 + n];
        }
        return zemStatusOk;
    }
    for (int n = 2048; n < 3072; ++n)
        pHistory[n] = 0;
    for (int w = 0; w < 8; ++w) {
        for (int k = 0; k < 128; ++k)
            X[k] = pSpec[128 * w + k];
        aac_imdct_norm_32s(X, 128);
        const int32_t* rise = short_window(w == 0 ? prevWindowShape : windowShape);
        const int32_t* fall = short_window(windowShape);
        for (int k = 0; k < 256; ++k) {
            const int64_t win = k < 128 ? rise[k] : fall[255 - k];
            const int32_t v = windowed(win, imdct_sample(X, 128, k));
            int32_t& h = pHistory[1472 + 128 * w + k];
            h = sat32(int64_t(h) + v);
        }
    }
    return zemStatusOk;
}
