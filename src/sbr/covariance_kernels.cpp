// Covariance terms of four neighbouring bands at once. The SSE2 version keeps one band per lane
// and adds the same products in the same order as the scalar one, so both give the same bits.
#include "core/simd.hpp"
#include "sbr/covariance.hpp"

namespace zem::sbr {
namespace {

void four_scalar(const RowSet& s, int32_t k, int32_t len, Covariance out[4]) {
    for (int32_t b = 0; b < 4; ++b)
        out[b] = covariance_band(s, k + b, len);
}

struct Lanes {
    simd::F32x4 re, im;
};

// Bands k .. k + 3 of row m, one per lane.
template <RowLayout L> inline Lanes load_bands(const RowSet& s, int32_t m, int32_t k) {
    using namespace simd;
    if constexpr (L == RowLayout::Real) {
        return {load(s.re[m] + k), splat(0.0f)};
    } else if constexpr (L == RowLayout::Split) {
        return {load(s.re[m] + k), load(s.im[m] + k)};
    } else {
        const float* p = &s.c[m][k].re;
        const F32x4 lo = load(p), hi = load(p + 4);
        return {shuffle<0, 2, 0, 2>(lo, hi), shuffle<1, 3, 1, 3>(lo, hi)};
    }
}

// Real and imaginary parts of a conj(b). For real data the imaginary products are left out:
// with finite samples, adding +0 changes no sum that starts at +0.
template <RowLayout L> inline simd::F32x4 dot_re(Lanes a, Lanes b) {
    if constexpr (L == RowLayout::Real)
        return a.re * b.re;
    else
        return a.re * b.re + a.im * b.im;
}
template <RowLayout L> inline simd::F32x4 dot_im(Lanes a, Lanes b) {
    if constexpr (L == RowLayout::Real)
        return simd::splat(0.0f);
    else
        return a.im * b.re - a.re * b.im;
}

// Each product is formed once: x[m] x[m]* and x[m] x[m-1]* come back as the phi(1,1), phi(2,2)
// and phi(1,2) terms of the next slots, the same values the scalar sums form anew.
template <RowLayout L> void four_sse2(const RowSet& s, int32_t k, int32_t len, Covariance out[4]) {
    using namespace simd;
    const F32x4 zero = splat(0.0f);
    F32x4 r00 = zero, r01 = zero, i01 = zero, r02 = zero, i02 = zero, r11 = zero, r12 = zero,
          i12 = zero, r22 = zero;
    Lanes x2 = load_bands<L>(s, 0, k), x1 = load_bands<L>(s, 1, k);
    F32x4 e2 = dot_re<L>(x2, x2), e1 = dot_re<L>(x1, x1);
    F32x4 c1r = dot_re<L>(x1, x2), c1i = dot_im<L>(x1, x2);
    for (int32_t m = 2; m < len + 2; ++m) {
        const Lanes x0 = load_bands<L>(s, m, k);
        const F32x4 e0 = dot_re<L>(x0, x0), c0r = dot_re<L>(x0, x1);
        r00 = r00 + e0;
        r01 = r01 + c0r;
        r02 = r02 + dot_re<L>(x0, x2);
        r11 = r11 + e1;
        r12 = r12 + c1r;
        r22 = r22 + e2;
        if constexpr (L != RowLayout::Real) {
            const F32x4 c0i = dot_im<L>(x0, x1);
            i01 = i01 + c0i;
            i02 = i02 + dot_im<L>(x0, x2);
            i12 = i12 + c1i;
            c1i = c0i;
        }
        e2 = e1, e1 = e0, c1r = c0r;
        x2 = x1, x1 = x0;
    }
    float lanes[9][4];
    const F32x4 sums[9] = {r00, r01, i01, r02, i02, r11, r12, i12, r22};
    for (int32_t t = 0; t < 9; ++t)
        store(lanes[t], sums[t]);
    for (int32_t b = 0; b < 4; ++b)
        out[b] = {lanes[0][b], lanes[1][b], lanes[2][b], lanes[3][b], lanes[4][b],
                  lanes[5][b], lanes[6][b], lanes[7][b], lanes[8][b]};
}

void four_sse2_any(const RowSet& s, int32_t k, int32_t len, Covariance out[4]) {
    switch (s.layout) {
    case RowLayout::Real:
        return four_sse2<RowLayout::Real>(s, k, len, out);
    case RowLayout::Split:
        return four_sse2<RowLayout::Split>(s, k, len, out);
    case RowLayout::Interleaved:
        break;
    }
    four_sse2<RowLayout::Interleaved>(s, k, len, out);
}

} // namespace

const CovarianceKernels kCovarianceScalar = {four_scalar};
const CovarianceKernels kCovarianceSse2 = {four_sse2_any};

} // namespace zem::sbr
