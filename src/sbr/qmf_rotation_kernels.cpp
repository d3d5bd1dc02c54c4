// The rotations around the floating-point QMF banks' FFTs. Both versions evaluate every output
// with the same operations in the same order, so they agree to the bit.
#include "core/simd.hpp"
#include "sbr/qmf_float.hpp"
#include "sbr/qmf_rotations.hpp"

namespace zem::sbr {
namespace {

constexpr float kOut = 0.015625f; // 1/64
const QmfRotations& R = kQmfRotations;

void analysis_pre_scalar(const float* u, float* z) {
    for (int i = 0; i < 32; ++i) {
        const float a = u[32 - i], b = u[64 - i], c = R.quarterCos[i], s = R.quarterSin[i];
        z[2 * i] = s * a - c * b;
        z[2 * i + 1] = c * a + s * b;
    }
}

void analysis_post_scalar(const float* y, float* x) {
    for (int j = 0; j < 16; ++j) {
        const float* e = y + 2 * j;
        const float* o = y + 2 * (31 - j);
        const float c0 = R.stepCos[j], s0 = R.stepSin[j];
        const float c1 = R.stepCos[j + 1], s1 = R.stepSin[j + 1];
        x[4 * j] = 2.0f * (c0 * e[0] + s0 * e[1]);
        x[4 * j + 1] = 2.0f * (c0 * e[1] - s0 * e[0]);
        x[4 * j + 2] = 2.0f * (c1 * o[0] - s1 * o[1]);
        x[4 * j + 3] = -2.0f * (c1 * o[1] + s1 * o[0]);
    }
}

void dct4_pre_scalar(const float* x, bool reversed, float* z) {
    for (int j = 0; j < 32; ++j) {
        float e = x[2 * j], o = x[63 - 2 * j];
        if (reversed) {
            const float t = e;
            e = o;
            o = t;
        }
        const float c = R.quarterCos[j], s = R.quarterSin[j];
        z[2 * j] = c * e + s * o;
        z[2 * j + 1] = c * o - s * e;
    }
}

void dct4_pre_interleaved_scalar(const float* row, float* zc, float* zs) {
    float re[64], im[64];
    for (int k = 0; k < 64; ++k) {
        re[k] = row[2 * k];
        im[k] = row[2 * k + 1];
    }
    dct4_pre_scalar(re, false, zc);
    dct4_pre_scalar(im, true, zs);
}

void dct4_combine_scalar(const float* yc, const float* ys, float* v) {
    for (int m = 0; m < 32; ++m) {
        const float c = R.stepCos[m], s = R.stepSin[m];
        const float ce = c * yc[2 * m] + s * yc[2 * m + 1];
        const float co = s * yc[2 * m] - c * yc[2 * m + 1];
        const float se = c * ys[2 * m] + s * ys[2 * m + 1];
        const float so = s * ys[2 * m] - c * ys[2 * m + 1];
        v[2 * m] = (se - ce) * kOut;
        v[127 - 2 * m] = (ce + se) * kOut;
        v[63 - 2 * m] = (-so - co) * kOut;
        v[64 + 2 * m] = (co - so) * kOut;
    }
}

void down_pre_scalar(const float* re, const float* im, float* z) {
    for (int k = 0; k < 32; ++k) {
        const float c = R.downPreCos[k], s = R.downPreSin[k];
        z[2 * k] = c * re[k] + s * im[k];
        z[2 * k + 1] = c * im[k] - s * re[k];
    }
    for (int k = 64; k < 128; ++k)
        z[k] = 0.0f;
}

void down_post_scalar(const float* y, float* v) {
    for (int n = 0; n < 64; ++n)
        v[n] = (R.downPostCos[n] * y[2 * n] - R.downPostSin[n] * y[2 * n + 1]) * kOut;
}

using namespace simd;

// Real and imaginary parts of the four complex values at p.
inline void load_complex4(const float* p, F32x4& re, F32x4& im) {
    const F32x4 lo = load(p), hi = load(p + 4);
    re = shuffle<0, 2, 0, 2>(lo, hi);
    im = shuffle<1, 3, 1, 3>(lo, hi);
}
inline void store_complex4(float* p, F32x4 re, F32x4 im) {
    store(p, interleave_lo(re, im));
    store(p + 4, interleave_hi(re, im));
}

void analysis_pre_sse2(const float* u, float* z) {
    for (int i = 0; i < 32; i += 4) {
        const F32x4 a = reverse(load(u + 29 - i)), b = reverse(load(u + 61 - i));
        const F32x4 c = load(R.quarterCos + i), s = load(R.quarterSin + i);
        store_complex4(z + 2 * i, s * a - c * b, c * a + s * b);
    }
}

void analysis_post_sse2(const float* y, float* x) {
    const F32x4 two = splat(2.0f), minusTwo = splat(-2.0f);
    for (int j = 0; j < 16; j += 4) {
        F32x4 er, ei;
        load_complex4(y + 2 * j, er, ei);
        // Y[31 - j] .. Y[28 - j]: lanes from the pairs at 30 - j and 28 - j, taken backwards.
        const F32x4 hi = load(y + 2 * (30 - j)), lo = load(y + 2 * (28 - j));
        const F32x4 orr = shuffle<2, 0, 2, 0>(hi, lo), oi = shuffle<3, 1, 3, 1>(hi, lo);
        const F32x4 c0 = load(R.stepCos + j), s0 = load(R.stepSin + j);
        const F32x4 c1 = load(R.stepCos + j + 1), s1 = load(R.stepSin + j + 1);
        const F32x4 x0 = two * (c0 * er + s0 * ei);
        const F32x4 x1 = two * (c0 * ei - s0 * er);
        const F32x4 x2 = two * (c1 * orr - s1 * oi);
        const F32x4 x3 = minusTwo * (c1 * oi + s1 * orr);
        const F32x4 t0 = interleave_lo(x0, x1), t1 = interleave_lo(x2, x3);
        const F32x4 t2 = interleave_hi(x0, x1), t3 = interleave_hi(x2, x3);
        store(x + 4 * j, concat_lo(t0, t1));
        store(x + 4 * j + 4, concat_hi(t0, t1));
        store(x + 4 * j + 8, concat_lo(t2, t3));
        store(x + 4 * j + 12, concat_hi(t2, t3));
    }
}

void dct4_pre_sse2(const float* x, bool reversed, float* z) {
    for (int j = 0; j < 32; j += 4) {
        F32x4 e = shuffle<0, 2, 0, 2>(load(x + 2 * j), load(x + 2 * j + 4));
        F32x4 o = shuffle<3, 1, 3, 1>(load(x + 60 - 2 * j), load(x + 56 - 2 * j));
        if (reversed) {
            const F32x4 t = e;
            e = o;
            o = t;
        }
        const F32x4 c = load(R.quarterCos + j), s = load(R.quarterSin + j);
        store_complex4(z + 2 * j, c * e + s * o, c * o - s * e);
    }
}

// Four values j..j+3 of both transforms per pass: the complex values 2j, 2j + 2, 2j + 4, 2j + 6
// from the front and 63 - 2j, 61 - 2j, 59 - 2j, 57 - 2j from the back, split into their parts.
void dct4_pre_interleaved_sse2(const float* row, float* zc, float* zs) {
    for (int j = 0; j < 32; j += 4) {
        const F32x4 f01 = shuffle<0, 1, 0, 1>(load(row + 4 * j), load(row + 4 * j + 4));
        const F32x4 f23 = shuffle<0, 1, 0, 1>(load(row + 4 * j + 8), load(row + 4 * j + 12));
        const F32x4 b01 = shuffle<2, 3, 2, 3>(load(row + 124 - 4 * j), load(row + 120 - 4 * j));
        const F32x4 b23 = shuffle<2, 3, 2, 3>(load(row + 116 - 4 * j), load(row + 112 - 4 * j));
        const F32x4 er = shuffle<0, 2, 0, 2>(f01, f23), ei = shuffle<1, 3, 1, 3>(f01, f23);
        const F32x4 orr = shuffle<0, 2, 0, 2>(b01, b23), oi = shuffle<1, 3, 1, 3>(b01, b23);
        const F32x4 c = load(R.quarterCos + j), s = load(R.quarterSin + j);
        store_complex4(zc + 2 * j, c * er + s * orr, c * orr - s * er);
        store_complex4(zs + 2 * j, c * oi + s * ei, c * ei - s * oi);
    }
}

void dct4_combine_sse2(const float* yc, const float* ys, float* v) {
    alignas(16) float a[32], b[32], cc[32], d[32];
    const F32x4 k = splat(kOut);
    for (int m = 0; m < 32; m += 4) {
        F32x4 cr, ci, sr, si;
        load_complex4(yc + 2 * m, cr, ci);
        load_complex4(ys + 2 * m, sr, si);
        const F32x4 c = load(R.stepCos + m), s = load(R.stepSin + m);
        const F32x4 ce = c * cr + s * ci, co = s * cr - c * ci;
        const F32x4 se = c * sr + s * si, so = s * sr - c * si;
        store(a + m, (se - ce) * k);
        store(b + m, (ce + se) * k);
        store(cc + m, (-so - co) * k);
        store(d + m, (co - so) * k);
    }
    // v[2m] = a[m], v[2m + 1] = cc[31 - m]; v[64 + 2m] = d[m], v[65 + 2m] = b[31 - m].
    for (int m = 0; m < 32; m += 4) {
        store_complex4(v + 2 * m, load(a + m), reverse(load(cc + 28 - m)));
        store_complex4(v + 64 + 2 * m, load(d + m), reverse(load(b + 28 - m)));
    }
}

void down_pre_sse2(const float* re, const float* im, float* z) {
    for (int k = 0; k < 32; k += 4) {
        const F32x4 r = load(re + k), i = load(im + k);
        const F32x4 c = load(R.downPreCos + k), s = load(R.downPreSin + k);
        store_complex4(z + 2 * k, c * r + s * i, c * i - s * r);
    }
    const F32x4 zero = splat(0.0f);
    for (int k = 64; k < 128; k += 4)
        store(z + k, zero);
}

void down_post_sse2(const float* y, float* v) {
    const F32x4 k = splat(kOut);
    for (int n = 0; n < 64; n += 4) {
        F32x4 r, i;
        load_complex4(y + 2 * n, r, i);
        store(v + n, (load(R.downPostCos + n) * r - load(R.downPostSin + n) * i) * k);
    }
}

} // namespace

const QmfRotationKernels kQmfRotationScalar = {
    analysis_pre_scalar, analysis_post_scalar, dct4_pre_scalar, dct4_pre_interleaved_scalar,
    dct4_combine_scalar, down_pre_scalar,      down_post_scalar};
const QmfRotationKernels kQmfRotationSse2 = {
    analysis_pre_sse2, analysis_post_sse2, dct4_pre_sse2, dct4_pre_interleaved_sse2,
    dct4_combine_sse2, down_pre_sse2,      down_post_sse2};

} // namespace zem::sbr
