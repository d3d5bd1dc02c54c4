#include "transform/fixed_fft.hpp"

#include "core/fixed.hpp"

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

// Visits the split-radix block starts of a block length n: the index stepping of Sorensen,
// Heideman and Burrus.
template <class F> inline void for_each_block(int length, int n, F&& f) {
    int is = 0, id = 2 * n;
    do {
        for (int i0 = is; i0 < length; i0 += id)
            f(i0);
        is = 2 * id - n;
        id *= 4;
    } while (is < length);
}

inline void exchange(Cplx* x, int a, int b) {
    const Cplx t = x[a];
    x[a] = x[b];
    x[b] = t;
}

} // namespace

void zemFixedFft(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap) {
    Cplx* x = reinterpret_cast<Cplx*>(pData);
    const int length = 1 << order;
    const int run = length / 8 - 1;
    const Twiddle none{};
    for (int n = length; n >= 4; n /= 2) {
        const int q = n / 4, e = n / 8, stride = length / n;
        for_each_block(length, n, [&](int i0) {
            butterfly<Rotation::None>(x, i0, q, none);
            if (q >= 2)
                butterfly<Rotation::Eighth>(x, i0 + e, q, none);
            for (int k = 1; k < e; ++k) {
                const int at = k * stride - 1;
                const Twiddle w{pTwiddle[at], pTwiddle[run + at], pTwiddle[2 * run + at], pTwiddle[3 * run + at]};
                butterfly<Rotation::Angle>(x, i0 + k, q, w);
                butterfly<Rotation::Mirror>(x, i0 + q - k, q, w);
            }
        });
    }
    for_each_block(length, 2, [&](int i) {
        const Cplx a = x[i], b = x[i + 1];
        x[i] = add(a, b);
        x[i + 1] = sub(a, b);
    });
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

} // namespace zem
