// Twiddle passes of the general MDCT: a scalar reference, its SSE2 twin (same operations in the
// same order, so the same bits), and the small DFTs of N = 12 and 36.
#include <cmath>

#include "core/constexpr_math.hpp"
#include "core/simd.hpp"
#include "transform/mdct.hpp"
#include "transform/twiddle.hpp"

namespace zem {
namespace {

// Where c_j and s_j sit: the vector layout of the power-of-two tables, or (sin, cos) pairs.
struct VectorLayout {
    static float c(const float* tw, int32_t j) { return tw[mdct_cos_index(j)]; }
    static float s(const float* tw, int32_t j) { return tw[mdct_cos_index(j) + 4]; }
};
struct PairLayout {
    static float c(const float* tw, int32_t j) { return tw[2 * j + 1]; }
    static float s(const float* tw, int32_t j) { return tw[2 * j]; }
};

// (c a + s b) + i (c b - s a) into z[j].
template <typename L> inline void rotate(float* z, const float* tw, int32_t j, float a, float b) {
    const float c = L::c(tw, j), s = L::s(tw, j);
    z[2 * j] = c * a + s * b;
    z[2 * j + 1] = c * b - s * a;
}

// Folds the N inputs into Q complex values: the four quarters of the block pair up so that the
// cosine kernel of the MDCT becomes that of a DFT of Q points.
template <typename L> void fold_scalar(const float* x, float* z, const float* tw, int32_t n) {
    const int32_t q = n / 4, h = (q + 1) / 2;
    for (int32_t j = 0; j < q; ++j) {
        float a, b;
        if (j < h) {
            a = -x[n - q + 2 * j] - x[n - q - 1 - 2 * j];
            b = x[q - 1 - 2 * j] - x[q + 2 * j];
        } else {
            a = x[2 * j - q] - x[n - q - 1 - 2 * j];
            b = -x[n + q - 1 - 2 * j] - x[q + 2 * j];
        }
        rotate<L>(z, tw, j, a, b);
    }
}

template <typename L> void post_scalar(const float* Z, float* X, const float* tw, int32_t n) {
    const int32_t q = n / 4;
    for (int32_t j = 0; j < q; ++j) {
        const float c = L::c(tw, j), s = L::s(tw, j), re = Z[2 * j], im = Z[2 * j + 1];
        X[2 * j] = c * re + s * im;
        X[n / 2 - 1 - 2 * j] = s * re - c * im;
    }
}

template <typename L> void pre_scalar(const float* X, float* z, const float* tw, int32_t n) {
    const int32_t q = n / 4;
    for (int32_t j = 0; j < q; ++j)
        rotate<L>(z, tw, j, X[2 * j], X[n / 2 - 1 - 2 * j]);
}

// The transpose of fold_scalar: every input of the fold receives its value back with its sign.
template <typename L> void unfold_scalar(const float* Z, float* y, const float* tw, int32_t n) {
    const int32_t q = n / 4, h = (q + 1) / 2;
    for (int32_t j = 0; j < q; ++j) {
        const float c = L::c(tw, j), s = L::s(tw, j), re = Z[2 * j], im = Z[2 * j + 1];
        const float a = c * re + s * im, b = s * re - c * im;
        y[n - q - 1 - 2 * j] = -a;
        y[q + 2 * j] = -b;
        if (j < h) {
            y[n - q + 2 * j] = -a;
            y[q - 1 - 2 * j] = b;
        } else {
            y[2 * j - q] = a;
            y[n + q - 1 - 2 * j] = -b;
        }
    }
}

// SSE2: four j at a time. Strided inputs come from two loads and one shuffle; the partner block
// j1 = Q - 4 - j0 supplies the mirrored half of each output octet.
using simd::F32x4;
using simd::load;
using simd::shuffle;

inline F32x4 evens(const float* p) { return shuffle<0, 2, 0, 2>(load(p), load(p + 4)); }
// p[7], p[5], p[3], p[1].
inline F32x4 odds_reversed(const float* p) { return shuffle<3, 1, 3, 1>(load(p + 4), load(p)); }

// Stores a0 b0 a1 b1 a2 b2 a3 b3.
inline void store_interleaved(float* p, F32x4 a, F32x4 b) {
    simd::store(p, simd::interleave_lo(a, b));
    simd::store(p + 4, simd::interleave_hi(a, b));
}

struct Pair {
    F32x4 c, s;
};
inline Pair twiddles(const float* tw, int32_t j0) {
    return {load(tw + 2 * j0), load(tw + 2 * j0 + 4)};
}

// (c a + s b, c b - s a) for four j, stored as four complex values.
inline void rotate4(float* z, Pair w, F32x4 a, F32x4 b) {
    store_interleaved(z, w.c * a + w.s * b, w.c * b - w.s * a);
}

// (c re + s im, s re - c im) of four complex values.
inline void back_rotate4(const float* Z, Pair w, F32x4& a, F32x4& b) {
    const F32x4 v0 = load(Z), v1 = load(Z + 4);
    const F32x4 re = shuffle<0, 2, 0, 2>(v0, v1);
    const F32x4 im = shuffle<1, 3, 1, 3>(v0, v1);
    a = w.c * re + w.s * im;
    b = w.s * re - w.c * im;
}

void fold_sse2(const float* x, float* z, const float* tw, int32_t n) {
    const int32_t q = n / 4, h = q / 2;
    for (int32_t j = 0; j < h; j += 4) {
        const F32x4 a = -evens(x + n - q + 2 * j) - odds_reversed(x + n - q - 8 - 2 * j);
        const F32x4 b = odds_reversed(x + q - 8 - 2 * j) - evens(x + q + 2 * j);
        rotate4(z + 2 * j, twiddles(tw, j), a, b);
    }
    for (int32_t j = h; j < q; j += 4) {
        const F32x4 a = evens(x + 2 * j - q) - odds_reversed(x + n - q - 8 - 2 * j);
        const F32x4 b = -odds_reversed(x + n + q - 8 - 2 * j) - evens(x + q + 2 * j);
        rotate4(z + 2 * j, twiddles(tw, j), a, b);
    }
}

void post_sse2(const float* Z, float* X, const float* tw, int32_t n) {
    const int32_t q = n / 4;
    for (int32_t j0 = 0; j0 < q / 2; j0 += 4) {
        const int32_t j1 = q - 4 - j0;
        F32x4 e0, o0, e1, o1;
        back_rotate4(Z + 2 * j0, twiddles(tw, j0), e0, o0);
        back_rotate4(Z + 2 * j1, twiddles(tw, j1), e1, o1);
        store_interleaved(X + 2 * j0, e0, simd::reverse(o1));
        store_interleaved(X + 2 * j1, e1, simd::reverse(o0));
    }
}

void pre_sse2(const float* X, float* z, const float* tw, int32_t n) {
    const int32_t q = n / 4;
    for (int32_t j0 = 0; j0 < q / 2; j0 += 4) {
        const int32_t j1 = q - 4 - j0;
        rotate4(z + 2 * j0, twiddles(tw, j0), evens(X + 2 * j0), odds_reversed(X + 2 * j1));
        rotate4(z + 2 * j1, twiddles(tw, j1), evens(X + 2 * j1), odds_reversed(X + 2 * j0));
    }
}

void unfold_sse2(const float* Z, float* y, const float* tw, int32_t n) {
    using simd::reverse;
    const int32_t q = n / 4;
    for (int32_t j0 = 0; j0 < q / 2; j0 += 4) {
        const int32_t j1 = q - 4 - j0;
        F32x4 a0, b0, a1, b1;
        back_rotate4(Z + 2 * j0, twiddles(tw, j0), a0, b0);
        back_rotate4(Z + 2 * j1, twiddles(tw, j1), a1, b1);
        store_interleaved(y + 3 * q + 2 * j0, -a0, reverse(-b1));
        store_interleaved(y + q + 2 * j0, -b0, reverse(-a1));
        store_interleaved(y + q + 2 * j1, -b1, reverse(-a0));
        store_interleaved(y + q - 8 - 2 * j0, a1, reverse(b0));
    }
}

// e^(-j 2 pi r / 9), r = 0..8, and sqrt(3)/2 for the three-point DFT.
struct Dft9 {
    float re[9], im[9];
};
constexpr Dft9 make_dft9() {
    Dft9 t{};
    for (int r = 0; r < 9; ++r) {
        const CosSin w = cos_sin_constexpr(r, 9.0);
        t.re[r] = float(w.c);
        t.im[r] = float(-w.s);
    }
    return t;
}
constexpr Dft9 kDft9 = make_dft9();
constexpr float kSin60 = float(0.86602540378443864676);

} // namespace

const MdctKernels kMdctScalar = {fold_scalar<VectorLayout>, post_scalar<VectorLayout>,
                                 pre_scalar<VectorLayout>, unfold_scalar<VectorLayout>};
const MdctKernels kMdctSse2 = {fold_sse2, post_sse2, pre_sse2, unfold_sse2};
const MdctKernels kMdctSmall = {fold_scalar<PairLayout>, post_scalar<PairLayout>,
                                pre_scalar<PairLayout>, unfold_scalar<PairLayout>};

void mdct_build_twiddles(float* tw, int32_t n, double g, bool pairLayout) {
    for (int32_t j = 0; j < n / 4; ++j) {
        const CosSin w = cos_sin(double(j) + 0.125, double(n));
        const float s = float(g * w.s), c = float(g * w.c);
        const int32_t ci = pairLayout ? 2 * j + 1 : mdct_cos_index(j);
        const int32_t si = pairLayout ? 2 * j : ci + 4;
        tw[ci] = c;
        tw[si] = s;
    }
}

void mdct_small_dft(float* z, int32_t q) {
    if (q == 3) {
        // Z0 = sum; Z1,2 = (z0 - (z1 + z2)/2) -+ j sin60 (z1 - z2).
        const float sr = z[2] + z[4], si = z[3] + z[5];
        const float mr = z[0] - 0.5f * sr, mi = z[1] - 0.5f * si;
        const float dr = kSin60 * (z[2] - z[4]), di = kSin60 * (z[3] - z[5]);
        z[0] += sr;
        z[1] += si;
        z[2] = mr + di;
        z[3] = mi - dr;
        z[4] = mr - di;
        z[5] = mi + dr;
        return;
    }
    float in[18];
    for (int i = 0; i < 18; ++i)
        in[i] = z[i];
    for (int k = 0; k < 9; ++k) {
        float re = 0.0f, im = 0.0f;
        for (int m = 0; m < 9; ++m) {
            const int r = (m * k) % 9;
            re += in[2 * m] * kDft9.re[r] - in[2 * m + 1] * kDft9.im[r];
            im += in[2 * m] * kDft9.im[r] + in[2 * m + 1] * kDft9.re[r];
        }
        z[2 * k] = re;
        z[2 * k + 1] = im;
    }
}

} // namespace zem
