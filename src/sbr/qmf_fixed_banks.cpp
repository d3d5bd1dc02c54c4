// The fixed-point SBR QMF banks, one slot per call, on the paths of the floating-point banks:
//   analysis:  the window stage u' = sum hi32(w x) (about u/4), then the 32-point fold of the
//              complex bank with the pre-rotation scaled by 1/16, so that the post-rotation gives
//              X/128 directly; the real bank is the real part of the complex one turned by
//              e^(-i pi (k + 1/2) 191/128);
//   synthesis: 64 bands through a DCT-IV of the real and a DST-IV of the imaginary parts (each a
//              32-point FFT, the input scaled by 1/16), 32 bands through a 64-point FFT of the
//              pre-rotated row (its inverse taken as the conjugate of the forward transform of
//              the conjugate), both giving V = 4v; the real banks turn their row by
//              e^(i pi (k + 1/2) 191/128) and take the complex path.
// Rotations round to nearest; every sum wraps, as the banks document no saturation.
#include <algorithm>

#include "core/checks.hpp"
#include "core/fixed.hpp"
#include "sbr/qmf_fixed.hpp"
#include "sbr/qmf_line.hpp"
#include "zemac.h"

namespace zem::sbr {
namespace {

const FixedRotations& R = kFixedRotations;

// (re + i im)(c - i s) >> shift, rounded; the int32 results wrap.
inline void rotate(int64_t re, int64_t im, Q30Pair w, int shift, int32_t* out) {
    const int64_t half = int64_t(1) << (shift - 1);
    out[0] = int32_t(uint32_t(uint64_t((re * w.c + im * w.s + half) >> shift)));
    out[1] = int32_t(uint32_t(uint64_t((im * w.c - re * w.s + half) >> shift)));
}

// 64 interleaved complex values X/128 of one analysis slot.
void analysis_slot(const int32_t* src, FixedRecord* r, int32_t* x) {
    int32_t* d = fixed_delay(r);
    const int32_t index = line_index(r->index, 320, 32);
    for (int j = 0; j < 32; ++j)
        d[index + j] = src[31 - j];
    // Blocks of 32 from multiples of 32 never straddle the line's end.
    int32_t u[65] = {};
    for (int b = 0; b < 10; ++b) {
        fixed_window_kernels().accumulate(u + 32 * (b & 1), kFixedWindows.even + 32 * b,
                                          d + wrap_line(index + 32 * b, 320), 32);
    }
    u[64] = wrap_neg(u[0]);
    int32_t z[64];
    for (int i = 0; i < 32; ++i)
        rotate(-int64_t(u[64 - i]), u[32 - i], R.quarter[i], 34, z + 2 * i);
    fixed_fft_kernels().forward(z, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    for (int j = 0; j < 16; ++j) {
        rotate(z[2 * j], z[2 * j + 1], R.step[j], 30, x + 4 * j);
        const int32_t* o = z + 2 * (31 - j);
        rotate(o[0], -int64_t(o[1]), R.step[j + 1], 30, x + 4 * j + 2);
    }
    r->index = index == 0 ? 288 : index - 32;
}

ZemStatus check_analysis(const void* pSrc, const void* pDst, int32_t numBands, void* pSpec,
                         Tag tag) {
    if (any_null(pSrc, pDst, pSpec))
        return zemStatusNullPointer;
    if (!has_tag(fixed_record(pSpec), tag))
        return zemStatusContextMismatch;
    return numBands < 0 || numBands > 32 ? zemStatusBadSize : zemStatusOk;
}

// V (128 values) of the 64-band complex bank from a row of real and imaginary parts.
void full_values(const int32_t* re, const int32_t* im, int32_t* v) {
    int32_t c[64], s[64];
    for (int j = 0; j < 32; ++j) {
        rotate(re[2 * j], re[63 - 2 * j], R.quarter[j], 34, c + 2 * j);
        rotate(im[63 - 2 * j], im[2 * j], R.quarter[j], 34, s + 2 * j);
    }
    fixed_fft_kernels().forward(c, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    fixed_fft_kernels().forward(s, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    for (int m = 0; m < 32; ++m) {
        int32_t pc[2], ps[2];
        rotate(c[2 * m], c[2 * m + 1], R.step[m], 30, pc);
        rotate(s[2 * m], s[2 * m + 1], R.step[m], 30, ps);
        // C[2m] = Re Pc, C[63 - 2m] = -Im Pc; the DST-IV's odd outputs change sign.
        v[2 * m] = wrap_sub(ps[0], pc[0]);
        v[127 - 2 * m] = wrap_add(pc[0], ps[0]);
        v[63 - 2 * m] = wrap_add(ps[1], pc[1]);
        v[64 + 2 * m] = wrap_sub(ps[1], pc[1]);
    }
}

// V (64 values) of the 32-band complex bank.
void down_values(const int32_t* re, const int32_t* im, int32_t* v) {
    int32_t z[128] = {};
    for (int k = 0; k < 32; ++k) {
        rotate(re[k], im[k], R.downPre[k], 34, z + 2 * k);
        z[2 * k + 1] = wrap_neg(z[2 * k + 1]);
    }
    fixed_fft_kernels().forward(z, 6, kFixedFft64.twiddle, kFixedFft64.swap);
    for (int n = 0; n < 64; ++n) {
        const Q30Pair w = R.downPost[n];
        v[n] = int32_t(uint32_t(
            uint64_t((int64_t(z[2 * n]) * w.c + int64_t(z[2 * n + 1]) * w.s + (1 << 29)) >> 30)));
    }
}

// A complex row as separate real and imaginary parts.
void split_row(const Zem32sc* x, int bands, int32_t* re, int32_t* im) {
    for (int k = 0; k < bands; ++k) {
        re[k] = x[k].re;
        im[k] = x[k].im;
    }
}

// A real row turned into the complex one whose complex bank gives the real bank's values.
void low_power_row(const int32_t* x, int bands, int32_t* re, int32_t* im) {
    for (int k = 0; k < bands; ++k) {
        int32_t t[2];
        rotate(x[k], 0, {R.lowPower[k].c, -R.lowPower[k].s}, 30, t);
        re[k] = t[0];
        im[k] = t[1];
    }
}

// Enters V into the line of `line` values at the write position and sums the window's ten
// blocks into `bands` samples; indices wrap, so a 64-band line may carry a 32-band history.
void synthesis_output(FixedRecord* r, const int32_t* v, int bands, int32_t* y) {
    const int32_t line = 20 * bands;
    int32_t* d = fixed_delay(r);
    const int32_t index = line_index(r->index, line, 1);
    const int32_t first = line - index < 2 * bands ? line - index : 2 * bands; // to the end
    std::copy(v, v + first, d + index);
    std::copy(v + first, v + 2 * bands, d);
    const int32_t* w = bands == 64 ? kFixedWindows.full : kFixedWindows.even;
    for (int n = 0; n < bands; ++n)
        y[n] = 0;
    for (int i = 0; i < 10; ++i) {
        const int32_t start = wrap_line(index + output_offset(i, bands), line);
        const int32_t before = line - start < bands ? line - start : bands; // up to the line's end
        const int32_t* wi = w + bands * i;
        fixed_window_kernels().accumulate(y, wi, d + start, before);
        fixed_window_kernels().accumulate(y + before, wi + before, d + start + before - line,
                                          bands - before);
    }
    r->index = index - 2 * bands < 0 ? index - 2 * bands + line : index - 2 * bands;
}

ZemStatus check_synthesis(const void* pSrc, const void* pDst, void* pSpec, Tag tag, Tag alsoTag) {
    if (any_null(pSrc, pDst, pSpec))
        return zemStatusNullPointer;
    const FixedRecord* r = fixed_record(pSpec);
    return has_tag(r, tag) || has_tag(r, alsoTag) ? zemStatusOk : zemStatusContextMismatch;
}

} // namespace
} // namespace zem::sbr

using namespace zem;
using namespace zem::sbr;

ZEM_API ZemStatus zemsAnalysisFilter_SBRHQ_32s32sc(const int32_t* pSrc, Zem32sc* pDst,
                                                   int32_t numBands,
                                                   ZemSbrAnalysisSpec_32s* pSpec) {
    if (const ZemStatus st = check_analysis(pSrc, pDst, numBands, pSpec, Tag::SbrHqAnalysis))
        return st;
    int32_t x[64];
    analysis_slot(pSrc, fixed_record(pSpec), x);
    for (int k = 0; k < 32; ++k)
        pDst[k] = k < numBands ? Zem32sc{x[2 * k], x[2 * k + 1]} : Zem32sc{0, 0};
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst, int32_t numBands,
                                               ZemSbrAnalysisSpec_32s* pSpec) {
    if (const ZemStatus st = check_analysis(pSrc, pDst, numBands, pSpec, Tag::SbrLpAnalysis))
        return st;
    int32_t x[64];
    analysis_slot(pSrc, fixed_record(pSpec), x);
    for (int k = 0; k < 32; ++k) {
        int32_t t[2];
        rotate(x[2 * k], x[2 * k + 1], R.lowPower[k], 30, t);
        pDst[k] = k < numBands ? t[0] : 0;
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrHqSynthesis, Tag::SbrHqSynthesis))
        return st;
    int32_t re[64], im[64], v[128];
    split_row(pSrc, 64, re, im);
    full_values(re, im, v);
    synthesis_output(fixed_record(pSpec), v, 64, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                ZemSbrSynthesisSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrLpSynthesis, Tag::SbrLpSynthesis))
        return st;
    int32_t re[64], im[64], v[128];
    low_power_row(pSrc, 64, re, im);
    full_values(re, im, v);
    synthesis_output(fixed_record(pSpec), v, 64, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                        ZemSbrSynthesisDownSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrHqSynthesisDown, Tag::SbrHqSynthesis))
        return st;
    int32_t re[32], im[32], v[64];
    split_row(pSrc, 32, re, im);
    down_values(re, im, v);
    synthesis_output(fixed_record(pSpec), v, 32, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisDownSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrLpSynthesisDown, Tag::SbrLpSynthesis))
        return st;
    int32_t re[32], im[32], v[64];
    low_power_row(pSrc, 32, re, im);
    down_values(re, im, v);
    synthesis_output(fixed_record(pSpec), v, 32, pDst);
    return zemStatusOk;
}
