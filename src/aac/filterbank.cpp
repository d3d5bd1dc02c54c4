// The AAC filter bank: windowing, inverse MDCT and overlap-add into PCM, the forward MDCT for
// encoders, and the reordering of grouped short-window spectra.
#include <cstring>

#include "aac/filterbank_tables.hpp"
#include "aac/mdct_core.hpp"
#include "aac/overlap_kernels.hpp"
#include "aac/window_halves.hpp"
#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "tables/aac_swb.hpp"
#include "zemac.h"

namespace zem::aac {

namespace {

// Sum of the windowed short-block samples at frame position p (448 <= p < 1600): at most two
// of the eight blocks overlap there. Block w covers 448 + 128 w .. 703 + 128 w.
int32_t short_overlap_sum(const int32_t* Y, int p, int shape, int prevShape, int shift) {
    int32_t sum = 0;
    const int rel = p - 448;
    for (int w = rel / 128 - 1; w <= rel / 128; ++w) {
        if (w < 0 || w > 7)
            continue;
        const int k = rel - 128 * w;
        const int32_t* rise = short_window(k < 128 && w == 0 ? prevShape : shape);
        const int64_t win = k < 128 ? rise[k] : rise[255 - k];
        sum = wrap_add(sum, apply(win, imdct_sample(Y + 128 * w, 128, k), shift));
    }
    return sum;
}

} // namespace

} // namespace zem::aac

using namespace zem;
using namespace zem::aac;

ZEM_API ZemStatus zemsMDCTInv_AAC_32s16s(int32_t* pSrc, int16_t* pDst, int32_t* pOverlap,
                                         int32_t windowSequence, int32_t windowShape,
                                         int32_t prevWindowShape, int32_t dstStep) {
    if (any_null(pSrc, pDst, pOverlap))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_window(windowSequence, windowShape, prevWindowShape); st != 0)
        return st;
    if (dstStep < 1 || dstStep > 2)
        return zemStatusAacBadOutputStride;

    auto emit = [&](int n, int32_t sum) {
        pDst[n * dstStep] = sat16(int64_t(wrap_add(sum, 4) >> 3));
    };
    if (windowSequence == EightShort) {
        for (int w = 0; w < 8; ++w)
            aac_imdct_norm_32s(pSrc + 128 * w, 128);
        for (int n = 0; n < 1024; ++n) {
            const int32_t c =
                n < 448 ? 0 : short_overlap_sum(pSrc, n, windowShape, prevWindowShape, 31);
            emit(n, wrap_add(pOverlap[n], c));
        }
        for (int n = 0; n < 1024; ++n)
            pOverlap[n] =
                n < 576 ? short_overlap_sum(pSrc, 1024 + n, windowShape, prevWindowShape, 31) : 0;
        return zemStatusOk;
    }
    aac_imdct_norm_32s(pSrc, 1024);
    if (windowSequence == OnlyLong) {
        overlap_kernels().only_long(pSrc, pOverlap, long_window(prevWindowShape),
                                    long_window(windowShape), pDst, dstStep);
        return zemStatusOk;
    }
    const HalfWindow rise = first_half(windowSequence, prevWindowShape);
    const HalfWindow fall = second_half(windowSequence, windowShape);
    for (int n = 0; n < 1024; ++n) {
        const int32_t t = apply(rise.at(n), imdct_sample(pSrc, 1024, n), 31);
        emit(n, wrap_add(t, pOverlap[n]));
        pOverlap[n] = apply(fall.at(n), imdct_sample(pSrc, 1024, 1024 + n), 31);
    }
    return zemStatusOk;
}

// 32-bit flavour: plain cores, every product hi(w y), no rounding or saturation. The output
// and the new overlap are formed where inputs are already spent: the output first in
// pOverlap (which it replaces sample by sample), the new overlap in pSrcDst, then the two
// buffers trade contents.
ZEM_API ZemStatus zemsMDCTInv_AAC_32s_I(int32_t* pSrcDst, int32_t* pOverlap, int32_t windowSequence,
                                        int32_t windowShape, int32_t prevWindowShape, int32_t len) {
    if (any_null(pSrcDst, pOverlap))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_window(windowSequence, windowShape, prevWindowShape); st != 0)
        return st;
    if (len != 1024)
        return zemStatusBadSize;

    int32_t* X = pSrcDst;
    if (windowSequence == EightShort) {
        for (int w = 0; w < 8; ++w)
            aac_imdct_32s(X + 128 * w, 128);
        for (int n = 448; n < 1024; ++n)
            pOverlap[n] =
                wrap_add(pOverlap[n], short_overlap_sum(X, n, windowShape, prevWindowShape, 32));
        // Positions 1024..1407 need blocks 3..7 and land on spent blocks 0..2; positions
        // 1408..1599 need only blocks 6 and 7.
        for (int n = 0; n < 576; ++n)
            X[n] = short_overlap_sum(X, 1024 + n, windowShape, prevWindowShape, 32);
        for (int n = 576; n < 1024; ++n)
            X[n] = 0;
    } else if (windowSequence == OnlyLong) {
        aac_imdct_32s(X, 1024);
        int32_t out[1024];
        overlap_kernels().only_long_32(X, pOverlap, long_window(prevWindowShape),
                                       long_window(windowShape), out);
        std::memcpy(X, out, sizeof out);
        return zemStatusOk;
    } else {
        aac_imdct_32s(X, 1024);
        const HalfWindow rise = first_half(windowSequence, prevWindowShape);
        const HalfWindow fall = second_half(windowSequence, windowShape);
        for (int n = 0; n < 1024; ++n)
            pOverlap[n] = wrap_add(pOverlap[n], apply(rise.at(n), imdct_sample(X, 1024, n), 32));
        // y[1024 + n] is X[512 + n] for n < 512 and X[1535 - n] above: the lower half first,
        // then the upper half in pairs (n, 1535 - n) that read each other's slot.
        for (int n = 0; n < 512; ++n)
            X[n] = apply(fall.at(n), X[512 + n], 32);
        for (int n = 512; n < 768; ++n) {
            const int m = 1535 - n;
            const int32_t yn = X[m], ym = X[n];
            X[n] = apply(fall.at(n), yn, 32);
            X[m] = apply(fall.at(m), ym, 32);
        }
    }
    for (int n = 0; n < 1024; ++n) {
        const int32_t out = pOverlap[n];
        pOverlap[n] = X[n];
        X[n] = out;
    }
    return zemStatusOk;
}

namespace {

// Windows 2N samples of a long sequence in place for the forward transform; `shift` 32 takes
// hi(w x), flat parts shifted right by one; `doubled` windows 2x (formed in 32 bits) instead.
void window_long(int32_t* x, const int32_t* src, int seq, int shape, int prevShape, bool doubled) {
    if (seq == OnlyLong) {
        overlap_kernels().window_only_long(x, src, long_window(prevShape), long_window(shape),
                                           doubled);
        return;
    }
    const HalfWindow rise = first_half(seq, prevShape);
    const HalfWindow fall = second_half(seq, shape);
    for (int n = 0; n < 2048; ++n) {
        const int64_t w = n < 1024 ? rise.at(n) : fall.at(n - 1024);
        const int32_t v = doubled ? wrap_shl(src[n], 1) : src[n];
        x[n] = w == kOne && doubled ? src[n] : apply(w, v, 32);
    }
}

void window_short(int32_t* x, const int32_t* src, int shape, int prevShape, bool doubled) {
    const int32_t* rise = short_window(prevShape);
    const int32_t* fall = short_window(shape);
    for (int k = 0; k < 256; ++k) {
        const int64_t w = k < 128 ? rise[k] : fall[255 - k];
        x[k] = apply(w, doubled ? wrap_shl(src[k], 1) : src[k], 32);
    }
}

} // namespace

ZEM_API ZemStatus zemsMDCTFwd_AAC_32s(const int32_t* pSrc, int32_t* pDst, int32_t* pReserved,
                                      int32_t windowSequence, int32_t windowShape,
                                      int32_t prevWindowShape, int32_t* pWorkBuf) {
    if (any_null(pSrc, pDst, pReserved, pWorkBuf))
        return zemStatusNullPointer;
    if (const ZemStatus st = check_window(windowSequence, windowShape, prevWindowShape); st != 0)
        return st;
    const int N = windowSequence == EightShort ? 128 : 1024;
    if (N == 128)
        window_short(pWorkBuf, pSrc, windowShape, prevWindowShape, true);
    else
        window_long(pWorkBuf, pSrc, windowSequence, windowShape, prevWindowShape, true);
    aac_mdct_32s(pWorkBuf, N);
    for (int k = 0; k < N; ++k)
        pDst[k] = pWorkBuf[k];
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTFwd_AAC_32s_I(int32_t* pSrcDst, int32_t windowSequence,
                                        int32_t windowShape, int32_t prevWindowShape, int32_t len) {
    if (pSrcDst == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = check_window(windowSequence, windowShape, prevWindowShape); st != 0)
        return st;
    if (len != 2048)
        return zemStatusBadSize;
    if (windowSequence == EightShort) {
        window_short(pSrcDst, pSrcDst, windowShape, prevWindowShape, false);
        aac_mdct_norm_32s(pSrcDst, 128);
    } else {
        window_long(pSrcDst, pSrcDst, windowSequence, windowShape, prevWindowShape, false);
        aac_mdct_norm_32s(pSrcDst, 1024);
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDeinterleaveSpectrum_AAC_32s(const int32_t* pSrc, int32_t* pDst,
                                                   int32_t numWindowGroups,
                                                   const int32_t* pWindowGroupLen, int32_t maxSfb,
                                                   int32_t samplingFreqIndex, int32_t len) {
    if (any_null(pSrc, pDst, pWindowGroupLen))
        return zemStatusNullPointer;
    if (len != 128)
        return zemStatusAacBadWindowLength;
    if (numWindowGroups < 1 || numWindowGroups > 8)
        return zemStatusAacBadWindowGroupCount;
    if (maxSfb < 0 || maxSfb > 51)
        return zemStatusAacBadMaxSfb;
    if (samplingFreqIndex < 0 || samplingFreqIndex > 11)
        return zemStatusAacBadSampleRateIndex;
    const SwbTable& bands = swb_short(samplingFreqIndex);
    if (maxSfb > bands.count)
        return zemStatusAacBadMaxSfb;
    // The groups must fit the eight windows of the frame, or the copy would leave pDst.
    int windows = 0;
    for (int g = 0; g < numWindowGroups; ++g) {
        if (pWindowGroupLen[g] < 1)
            return zemStatusAacBadWindowGroupCount;
        windows += pWindowGroupLen[g];
    }
    if (windows > 8)
        return zemStatusAacBadWindowGroupCount;

    const int top = bands.offset[maxSfb];
    int window = 0;
    for (int g = 0; g < numWindowGroups; ++g) {
        const int groupLen = pWindowGroupLen[g];
        const int32_t* src = pSrc + 128 * window;
        for (int b = 0; b < maxSfb; ++b) {
            const int lo = bands.offset[b], width = bands.offset[b + 1] - lo;
            for (int w = 0; w < groupLen; ++w, src += width)
                for (int i = 0; i < width; ++i)
                    pDst[128 * (window + w) + lo + i] = src[i];
        }
        for (int w = 0; w < groupLen; ++w)
            for (int i = top; i < 128; ++i)
                pDst[128 * (window + w) + i] = 0;
        window += groupLen;
    }
    return zemStatusOk;
}
