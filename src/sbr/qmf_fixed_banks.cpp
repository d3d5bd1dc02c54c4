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

// The complex value k of an analysis slot sits at pair analysis_pair(k) of the post-rotation's
// output: the even values at the front, the odd ones from the back.
constexpr int analysis_pair(int k) { return k % 2 == 0 ? k / 2 : 31 - k / 2; }

struct AnalysisTurns {
    FixedTurns<32> pre;  // of the pairs (u[32 - i], u[64 - i])
    FixedTurns<32> post; // of the FFT's outputs in place
    FixedTurns<32> real; // the real bank's turn of the same outputs
};
constexpr AnalysisTurns make_analysis_turns() {
    AnalysisTurns t{};
    for (int i = 0; i < 32; ++i) {
        const Q30Pair q = R.quarter[i];
        set_turn(t.pre, i, q.s, -q.c, q.c, q.s);
        if (i < 16) {
            const Q30Pair w = R.step[i];
            set_turn(t.post, i, w.c, w.s, -w.s, w.c);
        } else {
            const Q30Pair w = R.step[32 - i];
            set_turn(t.post, i, w.c, -w.s, -w.s, -w.c);
        }
        const Q30Pair l = R.lowPower[i];
        set_turn(t.real, analysis_pair(i), l.c, l.s, -l.s, l.c);
    }
    return t;
}
constexpr AnalysisTurns kAnalysisTurns = make_analysis_turns();

struct SynthesisTurns {
    FixedTurns<64> quarter;  // the pre-rotation of both folds, twice pi (4i + 1)/256
    FixedTurns<64> step;     // their post-rotation, twice pi r/64
    FixedTurns<32> downPre;  // turned and conjugated
    FixedTurns<64> downPost; // of which only the real parts count
    FixedTurns<64> lowPower; // of the real banks' rows, as pairs (x, 0)
};
constexpr SynthesisTurns make_synthesis_turns() {
    SynthesisTurns t{};
    for (int i = 0; i < 64; ++i) {
        const Q30Pair q = R.quarter[i % 32], w = R.step[i % 32], d = R.downPost[i];
        set_turn(t.quarter, i, q.c, q.s, -q.s, q.c);
        set_turn(t.step, i, w.c, w.s, -w.s, w.c);
        set_turn(t.downPost, i, d.c, d.s, -d.s, d.c);
        set_turn(t.lowPower, i, R.lowPower[i].c, 0, R.lowPower[i].s, 0);
    }
    for (int i = 0; i < 32; ++i) {
        const Q30Pair d = R.downPre[i];
        set_turn(t.downPre, i, d.c, d.s, d.s, -d.c);
    }
    return t;
}
constexpr SynthesisTurns kSynthesisTurns = make_synthesis_turns();

// 32 complex values X/128 of one analysis slot, value k at pair analysis_pair(k).
void analysis_slot(const int32_t* src, FixedRecord* r, int32_t* x) {
    int32_t* d = fixed_delay(r);
    const int32_t index = line_index(r->index, 320, 32);
    for (int j = 0; j < 32; ++j)
        d[index + j] = src[31 - j];
    // Blocks of 32 from multiples of 32 never straddle the line's end; the even blocks sum
    // into u[0, 32), the odd ones into u[32, 64).
    const int32_t* wb[10];
    const int32_t* xb[10];
    for (int b = 0; b < 10; ++b) {
        wb[b / 2 + 5 * (b & 1)] = kFixedWindows.even + 32 * b;
        xb[b / 2 + 5 * (b & 1)] = d + wrap_line(index + 32 * b, 320);
    }
    int32_t u[65];
    const FixedWindowKernels& windows = fixed_window_kernels();
    windows.sum_blocks(u, wb, xb, 5, 32);
    windows.sum_blocks(u + 32, wb + 5, xb + 5, 5, 32);
    u[64] = wrap_neg(u[0]);
    int32_t pairs[64], z[64];
    for (int i = 0; i < 32; ++i) {
        pairs[2 * i] = u[32 - i];
        pairs[2 * i + 1] = u[64 - i];
    }
    const FixedRotationKernels& k = fixed_rotation_kernels();
    k.rotate(z, pairs, kAnalysisTurns.pre.pq, kAnalysisTurns.pre.rt, 32, 34);
    fixed_fft_kernels().forward(z, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    k.rotate(x, z, kAnalysisTurns.post.pq, kAnalysisTurns.post.rt, 32, 30);
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

// V (128 values) of the 64-band complex bank from a row of interleaved complex values.
void full_values(const int32_t* row, int32_t* v) {
    int32_t pairs[128], cs[128], p[128];
    const FixedRotationKernels& k = fixed_rotation_kernels();
    k.fold(pairs, row);
    k.rotate(cs, pairs, kSynthesisTurns.quarter.pq, kSynthesisTurns.quarter.rt, 64, 34);
    fixed_fft_kernels().forward(cs, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    fixed_fft_kernels().forward(cs + 64, 5, kFixedFft32.twiddle, kFixedFft32.swap);
    k.rotate(p, cs, kSynthesisTurns.step.pq, kSynthesisTurns.step.rt, 64, 30);
    for (int m = 0; m < 32; ++m) {
        const int32_t* pc = p + 2 * m;
        const int32_t* ps = p + 64 + 2 * m;
        // C[2m] = Re Pc, C[63 - 2m] = -Im Pc; the DST-IV's odd outputs change sign.
        v[2 * m] = wrap_sub(ps[0], pc[0]);
        v[127 - 2 * m] = wrap_add(pc[0], ps[0]);
        v[63 - 2 * m] = wrap_add(ps[1], pc[1]);
        v[64 + 2 * m] = wrap_sub(ps[1], pc[1]);
    }
}

// V (64 values) of the 32-band complex bank from a row of interleaved complex values.
void down_values(const int32_t* row, int32_t* v) {
    int32_t z[128] = {}, p[128];
    const FixedRotationKernels& k = fixed_rotation_kernels();
    k.rotate(z, row, kSynthesisTurns.downPre.pq, kSynthesisTurns.downPre.rt, 32, 34);
    fixed_fft_kernels().forward(z, 6, kFixedFft64.twiddle, kFixedFft64.swap);
    k.rotate(p, z, kSynthesisTurns.downPost.pq, kSynthesisTurns.downPost.rt, 64, 30);
    for (int n = 0; n < 64; ++n)
        v[n] = p[2 * n];
}

// A complex row as interleaved parts.
static_assert(sizeof(Zem32sc) == 8);
const int32_t* row_words(const Zem32sc* x) { return reinterpret_cast<const int32_t*>(x); }

// A real row turned into the interleaved complex one whose complex bank gives the real bank's
// values.
void low_power_row(const int32_t* x, int bands, int32_t* row) {
    int32_t pairs[128];
    for (int k = 0; k < bands; ++k) {
        pairs[2 * k] = x[k];
        pairs[2 * k + 1] = 0;
    }
    fixed_rotation_kernels().rotate(row, pairs, kSynthesisTurns.lowPower.pq,
                                    kSynthesisTurns.lowPower.rt, bands, 30);
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
    // At most one block straddles the line's end; the others go together, and that one after.
    const int32_t* wb[10];
    const int32_t* xb[10];
    int32_t whole = 0, straddling = -1;
    for (int i = 0; i < 10; ++i) {
        const int32_t start = wrap_line(index + output_offset(i, bands), line);
        if (line - start >= bands) {
            wb[whole] = w + bands * i;
            xb[whole++] = d + start;
        } else {
            straddling = i;
        }
    }
    const FixedWindowKernels& k = fixed_window_kernels();
    k.sum_blocks(y, wb, xb, whole, bands);
    if (straddling >= 0) {
        const int32_t start = wrap_line(index + output_offset(straddling, bands), line);
        const int32_t before = line - start; // up to the line's end
        const int32_t* wi = w + bands * straddling;
        k.accumulate(y, wi, d + start, before);
        k.accumulate(y + before, wi + before, d + start + before - line, bands - before);
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
    for (int k = 0; k < 32; ++k) {
        const int32_t* c = x + 2 * analysis_pair(k);
        pDst[k] = k < numBands ? Zem32sc{c[0], c[1]} : Zem32sc{0, 0};
    }
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst, int32_t numBands,
                                               ZemSbrAnalysisSpec_32s* pSpec) {
    if (const ZemStatus st = check_analysis(pSrc, pDst, numBands, pSpec, Tag::SbrLpAnalysis))
        return st;
    int32_t x[64], t[64];
    analysis_slot(pSrc, fixed_record(pSpec), x);
    fixed_rotation_kernels().rotate(t, x, kAnalysisTurns.real.pq, kAnalysisTurns.real.rt, 32, 30);
    for (int k = 0; k < 32; ++k)
        pDst[k] = k < numBands ? t[2 * analysis_pair(k)] : 0;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrHqSynthesis, Tag::SbrHqSynthesis))
        return st;
    int32_t v[128];
    full_values(row_words(pSrc), v);
    synthesis_output(fixed_record(pSpec), v, 64, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                ZemSbrSynthesisSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrLpSynthesis, Tag::SbrLpSynthesis))
        return st;
    int32_t row[128], v[128];
    low_power_row(pSrc, 64, row);
    full_values(row, v);
    synthesis_output(fixed_record(pSpec), v, 64, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBRHQ_32sc32s(const Zem32sc* pSrc, int32_t* pDst,
                                                        ZemSbrSynthesisDownSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrHqSynthesisDown, Tag::SbrHqSynthesis))
        return st;
    int32_t v[64];
    down_values(row_words(pSrc), v);
    synthesis_output(fixed_record(pSpec), v, 32, pDst);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBRLP_32s(const int32_t* pSrc, int32_t* pDst,
                                                    ZemSbrSynthesisDownSpec_32s* pSpec) {
    if (const ZemStatus st =
            check_synthesis(pSrc, pDst, pSpec, Tag::SbrLpSynthesisDown, Tag::SbrLpSynthesis))
        return st;
    int32_t row[64], v[64];
    low_power_row(pSrc, 32, row);
    down_values(row, v);
    synthesis_output(fixed_record(pSpec), v, 32, pDst);
    return zemStatusOk;
}
