#include "transform/fixed_fft.hpp"

#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"

namespace zem {
namespace {

struct Cplx {
    int32_t re, im;
};

constexpr Cplx add(Cplx a, Cplx b) { return {wrap_add(a.re, b.re), wrap_add(a.im, b.im)}; }
constexpr Cplx sub(Cplx a, Cplx b) { return {wrap_sub(a.re, b.re), wrap_sub(a.im, b.im)}; }

// Multiplication by sqrt(1/2): the doubled value times its Q31 constant, upper word.
constexpr int32_t mul_sqrt_half(int32_t v) { return hi32(int64_t(wrap_shl(v, 1)) * 0x5A82799A); }

struct Twiddle {
    int64_t c1, c3, s1, s3;
};

// One split-radix butterfly at block position i. The two sums go back in place; z1 = u - jv
// and z3 = u + jv are rotated by the block's angle (none, pi/4, or table angle k for the
// first half and its mirror for the second half of the block).
enum class Rotation { None, Eighth, Angle, Mirror };

template <Rotation R> inline void butterfly(Cplx* x, int i, int q, const Twiddle& w) {
    const Cplx x0 = x[i], x1 = x[i + q], x2 = x[i + 2 * q], x3 = x[i + 3 * q];
    const Cplx u = sub(x0, x2), v = sub(x1, x3);
    x[i] = add(x0, x2);
    x[i + q] = add(x1, x3);
    const Cplx z1{wrap_add(u.re, v.im), wrap_sub(u.im, v.re)};
    const Cplx z3{wrap_sub(u.re, v.im), wrap_add(u.im, v.re)};
    if constexpr (R == Rotation::None) {
        x[i + 2 * q] = z1;
        x[i + 3 * q] = z3;
    } else if constexpr (R == Rotation::Eighth) {
        const int32_t p = wrap_sub(v.im, u.re);
        const int32_t r1 = mul_sqrt_half(z1.re), i1 = mul_sqrt_half(z1.im);
        const int32_t rp = mul_sqrt_half(p), i3 = mul_sqrt_half(z3.im);
        x[i + 2 * q] = {wrap_add(r1, i1), wrap_sub(i1, r1)};
        x[i + 3 * q] = {wrap_add(rp, i3), wrap_sub(rp, i3)};
    } else {
        const int64_t a = wrap_mul(4, z1.re), b = wrap_neg(wrap_mul(4, z1.im));
        const int64_t d = wrap_mul(4, z3.re), e = wrap_mul(4, z3.im);
        if constexpr (R == Rotation::Angle) {
            x[i + 2 * q] = {hi32(w.c1 * a - w.s1 * b), hi32(-w.s1 * a - w.c1 * b)};
            x[i + 3 * q] = {hi32(w.c3 * d + w.s3 * e), hi32(w.c3 * e - w.s3 * d)};
        } else {
            x[i + 2 * q] = {hi32(w.s1 * a - w.c1 * b), hi32(-w.c1 * a - w.s1 * b)};
            x[i + 3 * q] = {hi32(-w.s3 * d - w.c3 * e), hi32(w.c3 * d - w.s3 * e)};
        }
    }
}

// Twiddles of angle index k of a block, read from the four runs of the table.
inline Twiddle twiddle_at(const int32_t* tw, int run, int at) {
    return {tw[at], tw[run + at], tw[2 * run + at], tw[3 * run + at]};
}

// The butterflies of one block of length n >= 8 (q = n/4 positions), twiddle angle k read at
// table entry k * stride - 1.
inline void block_pass(Cplx* x, int n, const int32_t* tw, int run, int stride) {
    const int q = n / 4, e = n / 8;
    butterfly<Rotation::None>(x, 0, q, Twiddle{});
    butterfly<Rotation::Eighth>(x, e, q, Twiddle{});
    for (int k = 1, at = stride - 1; k < e; ++k, at += stride) {
        const Twiddle w = twiddle_at(tw, run, at);
        butterfly<Rotation::Angle>(x, k, q, w);
        butterfly<Rotation::Mirror>(x, q - k, q, w);
    }
}

// Positions 0 and e of a block, whose z1 and z3 the SIMD passes need unscaled: their
// butterflies done beforehand on copies of the inputs, and written back last.
struct Corners {
    Cplx first[4], eighth[4];
    Corners(const Cplx* x, int q, int e)
        : first{x[0], x[q], x[2 * q], x[3 * q]}, eighth{x[e], x[e + q], x[e + 2 * q],
                                                        x[e + 3 * q]} {
        butterfly<Rotation::None>(first, 0, 1, Twiddle{});
        butterfly<Rotation::Eighth>(eighth, 0, 1, Twiddle{});
    }
    void put(Cplx* x, int q, int e) const {
        for (int m = 0; m < 4; ++m) {
            x[m * q] = first[m];
            x[e + m * q] = eighth[m];
        }
    }
};

// The same block with SSE2 doing the twiddle-free part two positions at a time: the sums go
// in place and z1, z3 are stored pre-scaled as (4 z1.re, -4 z1.im) and (4 z3.re, 4 z3.im),
// which the scalar rotations then read back. Positions 0 and e need the unscaled z1 and z3, so
// they are done beforehand on copies of their inputs and written last.
inline void block_pass_sse2(Cplx* x, int n, const int32_t* tw, int run, int stride) {
    using namespace simd;
    const int q = n / 4, e = n / 8;
    const Corners corners(x, q, e);
    int32_t* p = reinterpret_cast<int32_t*>(x);
    const I32x4 odd = set(0, -1, 0, -1), even = set(-1, 0, -1, 0);
    for (int j = 0; j < 2 * q; j += 4) {
        const I32x4 x0 = load(p + j), x1 = load(p + j + 2 * q);
        const I32x4 x2 = load(p + j + 4 * q), x3 = load(p + j + 6 * q);
        store(p + j, x0 + x2);
        store(p + j + 2 * q, x1 + x3);
        const I32x4 u = x0 - x2, vs = swap_pairs(x1 - x3);
        store(p + j + 4 * q, shl(negate_where(u, odd) + vs, 2));
        store(p + j + 6 * q, shl(u + negate_where(vs, even), 2));
    }
    for (int k = 1, at = stride - 1; k < e; ++k, at += stride) {
        const Twiddle w = twiddle_at(tw, run, at);
        Cplx* y = x + 2 * q + k;
        Cplx* z = x + 2 * q + q - k;
        const int64_t a = y[0].re, b = y[0].im, d = y[q].re, f = y[q].im;
        y[0] = {hi32(w.c1 * a - w.s1 * b), hi32(-w.s1 * a - w.c1 * b)};
        y[q] = {hi32(w.c3 * d + w.s3 * f), hi32(w.c3 * f - w.s3 * d)};
        const int64_t a2 = z[0].re, b2 = z[0].im, d2 = z[q].re, f2 = z[q].im;
        z[0] = {hi32(w.s1 * a2 - w.c1 * b2), hi32(-w.c1 * a2 - w.s1 * b2)};
        z[q] = {hi32(-w.s3 * d2 - w.c3 * f2), hi32(w.c3 * d2 - w.s3 * f2)};
    }
    corners.put(x, q, e);
}

#if ZEM_HAS_AVX2_KERNELS
// The block of block_pass_sse2 with eight lanes: the twiddle-free part four positions at a time,
// then the rotations of four consecutive angles k..k+3 at a time, their mirrors q-k read and
// written with the pairs reversed. The last group reaches k = e, whose writes land on position e
// and are replaced by the separately computed eighth position; its twiddle lane is not read.
ZEM_AVX2 void block_pass_avx2(Cplx* x, int n, const int32_t* tw, int run, int stride) {
    using namespace simd;
    const int q = n / 4, e = n / 8;
    const Corners corners(x, q, e);
    int32_t* p = reinterpret_cast<int32_t*>(x);
    const I32x8 odd = set8(0, -1, 0, -1, 0, -1, 0, -1), even = set8(-1, 0, -1, 0, -1, 0, -1, 0);
    for (int j = 0; j < 2 * q; j += 8) {
        const I32x8 x0 = load8(p + j), x1 = load8(p + j + 2 * q);
        const I32x8 x2 = load8(p + j + 4 * q), x3 = load8(p + j + 6 * q);
        store(p + j, x0 + x2);
        store(p + j + 2 * q, x1 + x3);
        const I32x8 u = x0 - x2, vs = swap_pairs(x1 - x3);
        store(p + j + 4 * q, shl(negate_where(u, odd) + vs, 2));
        store(p + j + 6 * q, shl(u + negate_where(vs, even), 2));
    }
    const I64x4 zero = zero64x4();
    for (int k = 1; k <= e; k += 4) {
        const int at = k * stride - 1;
        const I32x4 index = set(at, at + stride, at + 2 * stride, at + 3 * stride);
        const I32x4 lanes = set(-1, -1, -1, k + 3 < e ? -1 : 0);
        // At stride 1 the four angles are neighbours: plain loads, except in the last group,
        // whose fourth lane lies past the run.
        const bool adjacent = stride == 1 && k + 3 < e;
        auto angles = [&](const int32_t* t) ZEM_AVX2 {
            return widen(adjacent ? load(t + at) : gather(t, index, lanes));
        };
        const I32x8 c1 = angles(tw), c3 = angles(tw + run);
        const I32x8 s1 = angles(tw + 2 * run), s3 = angles(tw + 3 * run);
        int32_t* y = p + 4 * q + 2 * k;
        int32_t* z = p + 6 * q - 2 * k - 6;
        const I32x8 ya = load8(y), yd = load8(y + 2 * q);
        const I32x8 za = reverse_pairs(load8(z)), zd = reverse_pairs(load8(z + 2 * q));
        const I32x8 yb = odd_words(ya), yf = odd_words(yd), zb = odd_words(za), zf = odd_words(zd);
        store(y, high_words(mul_even(ya, c1) - mul_even(yb, s1),
                            zero - (mul_even(ya, s1) + mul_even(yb, c1))));
        store(y + 2 * q,
              high_words(mul_even(yd, c3) + mul_even(yf, s3), mul_even(yf, c3) - mul_even(yd, s3)));
        store(z, reverse_pairs(high_words(mul_even(za, s1) - mul_even(zb, c1),
                                          zero - (mul_even(za, c1) + mul_even(zb, s1)))));
        store(z + 2 * q, reverse_pairs(high_words(zero - (mul_even(zd, s3) + mul_even(zf, c3)),
                                                  mul_even(zd, c3) - mul_even(zf, s3))));
    }
    corners.put(x, q, e);
}
#endif

inline void radix2(Cplx* x) {
    const Cplx a = x[0], b = x[1];
    x[0] = add(a, b);
    x[1] = sub(a, b);
}

enum class Kernel { Scalar, Sse2, Avx2 };

// Two radix-2 butterflies at once: (a, b) in one register becomes (a + b, a - b).
inline simd::I32x4 radix2_sse2(simd::I32x4 v) {
    using namespace simd;
    return concat_lo(v, v) + negate_where(concat_hi(v, v), set(0, 0, -1, -1));
}

// Blocks of 4, 8 and 16 straight-line; a block's butterflies only feed its own sub-blocks (half
// length at its start, quarter lengths at 1/2 and 3/4), so depth first gives the same values
// as stage by stage. The SSE2 4-point block keeps x0, x1 and x2, x3 in two registers: their
// difference (u, v) gives z1 = u + (v.im, -v.re) and z3 = u + (-v.im, v.re) side by side.
template <Kernel K> inline void block4(Cplx* x) {
    if constexpr (K != Kernel::Scalar) {
        using namespace simd;
        int32_t* p = reinterpret_cast<int32_t*>(x);
        const I32x4 a = load(p), b = load(p + 4);
        const I32x4 d = a - b;
        const I32x4 uu = concat_lo(d, d);
        const I32x4 vv = shuffle<3, 2, 3, 2>(d);
        store(p + 4, uu + negate_where(vv, set(0, -1, -1, 0)));
        store(p, radix2_sse2(a + b));
    } else {
        butterfly<Rotation::None>(x, 0, 1, Twiddle{});
        radix2(x);
    }
}

// The pi/4 rotation of one position, z1z3 = (z1, z3), as (rotated z1, rotated z3): the products
// M(z1.re), M(z1.im), M(p), M(z3.im) from one signed multiply, p = v.im - u.re = -z3.re.
inline simd::I32x4 eighth_sse2(simd::I32x4 z1z3) {
    using namespace simd;
    const I32x4 in = negate_where(z1z3, set(0, 0, -1, 0));
    const I32x4 m = mul_hi(shl(in, 1), splat(0x5A82799A));
    // (M0 + M1, M1 - M0, M2 + M3, M2 - M3)
    const I32x4 lhs = shuffle<0, 1, 2, 2>(m);
    const I32x4 rhs = shuffle<1, 0, 3, 3>(m);
    return lhs + negate_where(rhs, set(0, -1, 0, -1));
}

// The 8-point block in four registers of two complex values; position 1 rotates by pi/4.
inline void block8_sse2(Cplx* x) {
    using namespace simd;
    int32_t* p = reinterpret_cast<int32_t*>(x);
    const I32x4 x01 = load(p), x23 = load(p + 4), x45 = load(p + 8), x67 = load(p + 12);
    const I32x4 u = x01 - x45, tn = negate_where(swap_pairs(x23 - x67), set(0, -1, 0, -1));
    const I32x4 z1 = u + tn, z3 = u - tn; // positions 0 and 1 each
    const I32x4 eighth = eighth_sse2(concat_hi(z1, z3));
    store(p + 8, radix2_sse2(concat_lo(z1, eighth)));
    store(p + 12, radix2_sse2(concat_hi(concat_lo(z3, z3), eighth)));
    store(p, x01 + x45);
    store(p + 4, x23 + x67);
    block4<Kernel::Sse2>(x);
}

template <Kernel K> inline void block8(Cplx* x) {
    if constexpr (K != Kernel::Scalar) {
        block8_sse2(x);
    } else {
        butterfly<Rotation::None>(x, 0, 2, Twiddle{});
        butterfly<Rotation::Eighth>(x, 1, 2, Twiddle{});
        block4<K>(x);
        radix2(x + 4);
        radix2(x + 6);
    }
}

// The 16-point block's first butterflies in registers: positions 0 and 1 in one register,
// 2 and 3 in the other. Positions 1 and 3 rotate by the block's angle (scalar products of the
// pre-scaled 4 z1, -4 z1.im, 4 z3), position 2 by pi/4; the results are reassembled into
// registers for the sub-blocks rather than read back from memory.
inline void block16_sse2(Cplx* x, const Twiddle& w) {
    using namespace simd;
    int32_t* p = reinterpret_cast<int32_t*>(x);
    const I32x4 odd = set(0, -1, 0, -1);
    I32x4 z1[2], z3[2];
    for (int h = 0; h < 2; ++h) {
        const I32x4 x0 = load(p + 4 * h), x1 = load(p + 8 + 4 * h);
        const I32x4 x2 = load(p + 16 + 4 * h), x3 = load(p + 24 + 4 * h);
        store(p + 4 * h, x0 + x2);
        store(p + 8 + 4 * h, x1 + x3);
        const I32x4 u = x0 - x2, tn = negate_where(swap_pairs(x1 - x3), odd);
        z1[h] = u + tn;
        z3[h] = u - tn;
    }
    int32_t s1[4], s3[4]; // lanes 2 and 3 of each half: positions 1 and 3
    store(s1, shl(negate_where(concat_hi(z1[0], z1[1]), odd), 2));
    store(s3, shl(concat_hi(z3[0], z3[1]), 2));
    const int64_t a = s1[0], b = s1[1], d = s3[0], f = s3[1];
    const int64_t a2 = s1[2], b2 = s1[3], d2 = s3[2], f2 = s3[3];
    const I32x4 r1 = set(hi32(w.c1 * a - w.s1 * b), hi32(-w.s1 * a - w.c1 * b),
                         hi32(w.s1 * a2 - w.c1 * b2), hi32(-w.c1 * a2 - w.s1 * b2));
    const I32x4 r3 = set(hi32(w.c3 * d + w.s3 * f), hi32(w.c3 * f - w.s3 * d),
                         hi32(-w.s3 * d2 - w.c3 * f2), hi32(w.c3 * d2 - w.s3 * f2));
    const I32x4 e = eighth_sse2(concat_lo(z1[1], z3[1]));
    // Rows 2 and 3: z1/z3 of position 0, rotated position 1, pi/4 of position 2, position 3.
    const I32x4 row2a = concat_lo(z1[0], r1);
    const I32x4 row2b = concat_lo(e, concat_hi(r1, r1));
    const I32x4 row3a = concat_lo(z3[0], r3);
    const I32x4 row3b = concat_hi(e, r3);
    store(p + 16, row2a);
    store(p + 20, row2b);
    store(p + 24, row3a);
    store(p + 28, row3b);
}

template <Kernel K> inline void block16(Cplx* x, const Twiddle& w) {
    if constexpr (K != Kernel::Scalar) {
        block16_sse2(x, w);
        block8<K>(x);
        block4<K>(x + 8);
        block4<K>(x + 12);
        return;
    }
    butterfly<Rotation::None>(x, 0, 4, w);
    butterfly<Rotation::Angle>(x, 1, 4, w);
    butterfly<Rotation::Eighth>(x, 2, 4, w);
    butterfly<Rotation::Mirror>(x, 3, 4, w);
    block8<K>(x);
    block4<K>(x + 8);
    block4<K>(x + 12);
}

struct Plan {
    const int32_t* tw;
    int run;
    int length;
    Twiddle w16; // angle 1 of the 16-point blocks
};

template <Kernel K> void block(Cplx* x, int n, const Plan& p) {
    if (n == 16)
        return block16<K>(x, p.w16);
    if (n == 8)
        return block8<K>(x);
    if (n == 4)
        return block4<K>(x);
    if (n == 2)
        return radix2(x);
    if (n < 2)
        return;
    const int stride = p.length / n;
    if constexpr (K == Kernel::Scalar)
        block_pass(x, n, p.tw, p.run, stride);
    else if constexpr (K == Kernel::Sse2)
        block_pass_sse2(x, n, p.tw, p.run, stride);
#if ZEM_HAS_AVX2_KERNELS
    else
        block_pass_avx2(x, n, p.tw, p.run, stride);
#endif
    block<K>(x, n / 2, p);
    block<K>(x + n / 2, n / 4, p);
    block<K>(x + 3 * n / 4, n / 4, p);
}

inline void exchange(Cplx* x, int a, int b) {
    const Cplx t = x[a];
    x[a] = x[b];
    x[b] = t;
}

template <Kernel K>
void fixed_fft(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap) {
    Cplx* x = reinterpret_cast<Cplx*>(pData);
    const int length = 1 << order;
    const int run = length / 8 - 1;
    Plan plan{pTwiddle, run, length, {}};
    if (length >= 16)
        plan.w16 = twiddle_at(pTwiddle, run, length / 16 - 1);
    block<K>(x, length, plan);
    const int half = length / 2;
    const uint8_t* s = pSwap;
    for (; *s != 0; s += 2) {
        const int a = s[0], b = s[1];
        exchange(x, a, b);
        exchange(x, a + 1, b + half);
        exchange(x, a + half, b + 1);
        exchange(x, a + half + 1, b + half + 1);
    }
    do {
        exchange(x, *s + 1, *s + half);
        ++s;
    } while (*s != 0);
}

} // namespace

void fixed_fft_sse2(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap) {
    fixed_fft<Kernel::Sse2>(pData, order, pTwiddle, pSwap);
}

#if ZEM_HAS_AVX2_KERNELS
void fixed_fft_avx2(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap) {
    fixed_fft<Kernel::Avx2>(pData, order, pTwiddle, pSwap);
}
#endif

void fixed_fft_scalar(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap) {
    fixed_fft<Kernel::Scalar>(pData, order, pTwiddle, pSwap);
}

const FixedFftKernels& fixed_fft_kernels() {
    return ZEM_CHOSEN_KERNELS(kFixedFftSse2, kFixedFftAvx2);
}

} // namespace zem
