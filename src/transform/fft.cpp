// Complex FFT. Orders up to 15: Stockham autosort, radix 4 with a radix-8 last stage for odd
// orders (radix 2 for order 1), ping-ponging between the destination and the work buffer so
// that no bit-reversal pass is needed. Stage n (n = N, N/4, ..., stride s = N/n) maps, for
// p < n/4 and q < s,
//   a, b, c, d = x[q + s(p + k n/4)], k = 0..3
//   y[q + s 4p]       = (a + c) + (b + d)
//   y[q + s (4p + 1)] = w^p  ((a - c) - j (b - d))
//   y[q + s (4p + 2)] = w^2p ((a + c) - (b + d))
//   y[q + s (4p + 3)] = w^3p ((a - c) + j (b - d)),   w = e^(-j 2 pi / n),
// the inverse with +j and conjugate twiddles. The first stage (s = 1) runs two values of p per
// SSE2 register, the later ones two values of q. Larger orders use radix-2 decimation in
// frequency in place with a bit-reversal permutation (their work buffer is too small for a
// second copy of the data). Scaling, when the record asks for it, is one pass of
// scale_vector_32f over the result.
#include "transform/fft.hpp"

#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/simd.hpp"
#include "core/state.hpp"
#include "transform/spec_lifecycle.hpp"
#include "transform/twiddle.hpp"

namespace zem {
namespace {

constexpr int32_t kHeaderBytes = 96; // header reserved in front of the tables (32-byte multiple)
static_assert(sizeof(ZemFftSpec) <= 64);
static_assert(sizeof(ZemFftSpec) + 31 <= 116); // orders 0..5 keep only the header

constexpr int32_t kSmallMaxOrder = 5;
constexpr int32_t kTableMaxOrder = 15;
constexpr int32_t kLargeBlockOrder = 12; // the Stockham blocks of the large orders

// ---- twiddle table of the Stockham kernels ---------------------------------------------------
// For N = 2^order: N/8 blocks of 16 floats, block b serving p = 2b and 2b + 1 of the first
// stage in the form its SSE2 code multiplies with: (wr, wr, wr', wr'), (-wi, wi, -wi', wi') for
// w = e^(-j 2 pi p / N), then the same for w^2. w^3 is formed as w * w^2. Later stages read
// e^(-j 2 pi p / n) = w_N^(sp) from the same table.
constexpr std::size_t kBlockFloats = 16;

// cs(num, den) gives the CosSin of 2 pi num / den (libm's, or the compile-time series').
template <typename CS> constexpr void fill_block(float* b, std::size_t p, std::size_t n, CS cs) {
    for (std::size_t h = 0; h < 2; ++h)
        for (std::size_t k = 1; k <= 2; ++k) {
            const CosSin w = cs(double(k * (p + h)), double(n));
            const float wr = float(w.c), wi = float(-w.s);
            float* v = b + 8 * (k - 1);
            v[2 * h] = v[2 * h + 1] = wr;
            v[4 + 2 * h] = -wi;
            v[4 + 2 * h + 1] = wi;
        }
}

// Orders 3, 4, 5 at blocks 0, 1 and 3, from the compile-time cosine and sine with exact quarter
// turns (w = -j is exactly -j in these orders).
struct BuiltinTwiddles {
    alignas(16) float v[7 * kBlockFloats];
};
constexpr BuiltinTwiddles make_builtin() {
    BuiltinTwiddles t{};
    std::size_t block = 0;
    for (std::size_t n = 8; n <= 32; n *= 2)
        for (std::size_t p = 0; p < n / 4; p += 2, ++block)
            fill_block(t.v + kBlockFloats * block, p, n, [](double num, double den) {
                return CosSin{cmath::cos_turn(int64_t(num), int64_t(den)),
                              cmath::sin_turn(int64_t(num), int64_t(den))};
            });
    return t;
}
constexpr BuiltinTwiddles kBuiltin = make_builtin();

const float* stockham_table(const ZemFftSpec& s) {
    switch (s.order) {
    case 3:
        return kBuiltin.v;
    case 4:
        return kBuiltin.v + kBlockFloats;
    case 5:
        return kBuiltin.v + 3 * kBlockFloats;
    default:
        return s.twiddle;
    }
}

struct Cx {
    float re, im;
};
inline float w1r(const float* t, std::size_t e) { return t[kBlockFloats * (e >> 1) + 2 * (e & 1)]; }
inline float w1i(const float* t, std::size_t e) {
    return t[kBlockFloats * (e >> 1) + 5 + 2 * (e & 1)];
}
inline float w2r(const float* t, std::size_t e) {
    return t[kBlockFloats * (e >> 1) + 8 + 2 * (e & 1)];
}
inline float w2i(const float* t, std::size_t e) {
    return t[kBlockFloats * (e >> 1) + 13 + 2 * (e & 1)];
}

// e^(-j 2 pi i / N) for i < N/2, from whichever table the record has.
Cx twiddle(const ZemFftSpec& s, std::size_t i) {
    if (s.twiddleStrided)
        return {s.twiddle[2 * i], s.twiddle[2 * i + 1]};
    const std::size_t quarter = (std::size_t(1) << s.order) / 4;
    const bool upper = i >= quarter; // w^(i + N/4) = -j w^i
    const std::size_t e = upper ? i - quarter : i;
    const Cx w = e == 0 ? Cx{1.0f, 0.0f} : Cx{w1r(stockham_table(s), e), w1i(stockham_table(s), e)};
    return upper ? Cx{w.im, -w.re} : w;
}

constexpr bool valid_mode(int32_t m) {
    return m == FftScaleFwdByN || m == FftScaleInvByN || m == FftScaleBySqrtN || m == FftNoScale;
}

// Spec and work bytes of the large-order plan before the final slack.
struct LargeSizes {
    int64_t spec, work;
};
constexpr LargeSizes large_sizes(int32_t m) {
    const int32_t a = m <= 18 ? 4 : m <= 21 ? 6 : 8;
    const int32_t w = m == 16 ? 9 : m <= 18 ? 10 : m <= 21 ? 13 : 14;
    const int32_t b = m - a;
    LargeSizes s{};
    if (b < 16) {
        s.spec = a32(8 * (int64_t(1) << b) + 8);
        s.work = a32(8 * (int64_t(1) << b));
    } else {
        s = large_sizes(b);
    }
    s.spec += 4 * (int64_t(1) << m);
    s.work = s.work > 8 * (int64_t(1) << w) ? s.work : 8 * (int64_t(1) << w);
    if (m == 16) {
        s.spec += a32((int64_t(1) << m) + 4);
    } else {
        s.spec += (int64_t(1) << (m - 10)) + 4128;
        s.work = s.work > 65536 ? s.work : 65536;
    }
    return s;
}

struct Sizes {
    int32_t spec, init, work;
};
Sizes fft_sizes(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kSmallMaxOrder)
        return {116, 0, 0};
    if (order <= kTableMaxOrder)
        return {int32_t(a32(8 * n + 8) + a32(n + 4) + 128), order <= 10 ? 0 : int32_t(n + 64),
                int32_t(8 * n + 32)};
    const LargeSizes s = large_sizes(order);
    return {int32_t(s.spec + 128), int32_t(n + 64), int32_t(s.work + 32)};
}

// Work bytes stored in the record (the query adds 32 of alignment slack).
int32_t spec_work_bytes(int32_t order) {
    if (order <= kSmallMaxOrder)
        return 0;
    if (order <= kTableMaxOrder)
        return int32_t(a32(8 * (int64_t(1) << order)));
    return int32_t(large_sizes(order).work);
}

// r * (N*r*r - 3) * -0.5 with r the processor's reciprocal-square-root estimate of N.
float inv_sqrt_refined(float n) {
    const float r = simd::rsqrt_estimate(n);
    return r * (n * r * r - 3.0f) * -0.5f;
}

uint32_t reverse_bits(uint32_t v, int32_t bits) {
    v = ((v >> 1) & 0x55555555u) | ((v & 0x55555555u) << 1);
    v = ((v >> 2) & 0x33333333u) | ((v & 0x33333333u) << 2);
    v = ((v >> 4) & 0x0F0F0F0Fu) | ((v & 0x0F0F0F0Fu) << 4);
    v = __builtin_bswap32(v);
    return bits == 0 ? 0 : v >> (32 - bits);
}

// ---- radix-2 in place (orders 16..28, and the split transform) -------------------------------

// Natural order from bit-reversed order, in place on n complex values (as float pairs or one
// array of floats each for split data, Stride 2 or 1).
template <int Stride> void bit_reverse(float* x, int32_t order) {
    const std::size_t n = std::size_t(1) << order;
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t r = reverse_bits(uint32_t(i), order);
        if (i < r)
            for (int c = 0; c < Stride; ++c) {
                const float t = x[Stride * i + c];
                x[Stride * i + c] = x[Stride * r + c];
                x[Stride * r + c] = t;
            }
    }
}

// Data access for interleaved (re, im pairs) and split (two arrays) layouts.
struct Interleaved {
    float* p;
    float& re(std::size_t i) const { return p[2 * i]; }
    float& im(std::size_t i) const { return p[2 * i + 1]; }
};
struct Split {
    float* r;
    float* m;
    float& re(std::size_t i) const { return r[i]; }
    float& im(std::size_t i) const { return m[i]; }
};

// Butterfly of half-length h: (a, b) -> (a + b, (a - b) * e^(-j pi i / h)), i < h; the stages
// from h = N/2 down to hMin (1: all of them).
template <bool Inverse, typename Data>
void dif_scalar(Data x, const ZemFftSpec& s, std::size_t hMin = 1) {
    const std::size_t n = std::size_t(1) << s.order;
    for (std::size_t h = n / 2; h >= 2 && h >= hMin; h /= 2) {
        const std::size_t step = n / (2 * h);
        for (std::size_t blk = 0; blk < n; blk += 2 * h)
            for (std::size_t i = 0; i < h; ++i) {
                const std::size_t p = blk + i, q = p + h;
                const float ar = x.re(p), ai = x.im(p), br = x.re(q), bi = x.im(q);
                x.re(p) = ar + br;
                x.im(p) = ai + bi;
                const float dr = ar - br, di = ai - bi;
                const Cx w = twiddle(s, i * step);
                if (Inverse) {
                    x.re(q) = dr * w.re + di * w.im;
                    x.im(q) = di * w.re - dr * w.im;
                } else {
                    x.re(q) = dr * w.re - di * w.im;
                    x.im(q) = di * w.re + dr * w.im;
                }
            }
    }
    if (n >= 2 && hMin <= 1)
        for (std::size_t p = 0; p < n; p += 2) {
            const float ar = x.re(p), ai = x.im(p), br = x.re(p + 1), bi = x.im(p + 1);
            x.re(p) = ar + br;
            x.im(p) = ai + bi;
            x.re(p + 1) = ar - br;
            x.im(p + 1) = ai - bi;
        }
}

// d * w for two complex values (conj(w) for the inverse), the same operations as the scalar
// code: re = dr*wr - di*wi, im = di*wr + dr*wi.
template <bool Inverse> inline simd::F32x4 cmul_pairs(simd::F32x4 d, simd::F32x4 w) {
    using namespace simd;
    const F32x4 wr = shuffle<0, 0, 2, 2>(w);
    const F32x4 wi = shuffle<1, 1, 3, 3>(w);
    const F32x4 ds = shuffle<1, 0, 3, 2>(d); // (di, dr, ...)
    const F32x4 t1 = d * wr;                 // (dr wr, di wr)
    const F32x4 t2 = ds * wi;                // (di wi, dr wi)
    const F32x4 sign = Inverse ? set(0.0f, -0.0f, 0.0f, -0.0f) : set(-0.0f, 0.0f, -0.0f, 0.0f);
    return t1 + (t2 ^ sign);
}

template <bool Inverse> void dif_sse2(float* x, const ZemFftSpec& s, std::size_t hMin) {
    using namespace simd;
    const std::size_t n = std::size_t(1) << s.order;
    for (std::size_t h = n / 2; h >= 2 && h >= hMin; h /= 2) {
        const std::size_t step = n / (2 * h);
        for (std::size_t blk = 0; blk < n; blk += 2 * h) {
            float* a = x + 2 * blk;
            float* b = a + 2 * h;
            for (std::size_t i = 0; i < h; i += 2) {
                const F32x4 va = load(a + 2 * i), vb = load(b + 2 * i);
                store(a + 2 * i, va + vb);
                const float* t0 = s.twiddle + 2 * i * step;
                store(b + 2 * i, cmul_pairs<Inverse>(va - vb, load_pairs(t0, t0 + 2 * step)));
            }
        }
    }
    if (hMin > 1)
        return;
    const F32x4 negHigh = set(0.0f, 0.0f, -0.0f, -0.0f);
    for (std::size_t p = 0; p < n; p += 2) {
        const F32x4 v = load(x + 2 * p);
        store(x + 2 * p, concat_lo(v, v) + (concat_hi(v, v) ^ negHigh));
    }
}

// ---- Stockham stages -------------------------------------------------------------------------

// The radix-4 butterfly before twiddling: (a+c)+(b+d), u1, (a+c)-(b+d), u3.
template <bool Inverse> struct Radix4Scalar {
    Cx y0, u1, u2, u3;
    Radix4Scalar(Cx a, Cx b, Cx c, Cx d) {
        const Cx apc = {a.re + c.re, a.im + c.im}, amc = {a.re - c.re, a.im - c.im};
        const Cx bpd = {b.re + d.re, b.im + d.im}, bmd = {b.re - d.re, b.im - d.im};
        const Cx jb = {-bmd.im, bmd.re};
        u1 = Inverse ? Cx{amc.re + jb.re, amc.im + jb.im} : Cx{amc.re - jb.re, amc.im - jb.im};
        u3 = Inverse ? Cx{amc.re - jb.re, amc.im - jb.im} : Cx{amc.re + jb.re, amc.im + jb.im};
        y0 = {apc.re + bpd.re, apc.im + bpd.im};
        u2 = {apc.re - bpd.re, apc.im - bpd.im};
    }
};

constexpr float kHalfSqrt2 = 0.70710677f; // float(cos(pi / 4))

// The last stage of odd orders from 3 (n = 8, p = 0, no table twiddles): radix-4 butterflies on
// the even and the odd inputs, E and O, then y[k] = E[k] + W8^k O[k], y[k+4] = E[k] - W8^k O[k].
template <bool Inverse> void radix8_scalar(const float* x, float* y, std::size_t s) {
    const std::size_t st = 2 * s;
    for (std::size_t q = 0; q < s; ++q) {
        const float* in = x + 2 * q;
        auto at = [in, st](std::size_t k) { return Cx{in[k * st], in[k * st + 1]}; };
        const Radix4Scalar<Inverse> e(at(0), at(2), at(4), at(6)), o(at(1), at(3), at(5), at(7));
        // W8 = (1 - j)/sqrt2, W8^2 = -j, W8^3 = (-1 - j)/sqrt2, conjugated for the inverse.
        const Cx t1 = Inverse
                          ? Cx{(o.u1.re + -o.u1.im) * kHalfSqrt2, (o.u1.im + o.u1.re) * kHalfSqrt2}
                          : Cx{(o.u1.re + o.u1.im) * kHalfSqrt2, (o.u1.im + -o.u1.re) * kHalfSqrt2};
        const Cx t2 = Inverse ? Cx{-o.u2.im, o.u2.re} : Cx{o.u2.im, -o.u2.re};
        const Cx t3 = Inverse
                          ? Cx{(-o.u3.im - o.u3.re) * kHalfSqrt2, (o.u3.re - o.u3.im) * kHalfSqrt2}
                          : Cx{(o.u3.im - o.u3.re) * kHalfSqrt2, (-o.u3.re - o.u3.im) * kHalfSqrt2};
        float* out = y + 2 * q;
        const auto put = [out, st](std::size_t k, Cx lo, Cx hi) {
            out[k * st] = lo.re + hi.re;
            out[k * st + 1] = lo.im + hi.im;
            out[(k + 4) * st] = lo.re - hi.re;
            out[(k + 4) * st + 1] = lo.im - hi.im;
        };
        put(0, e.y0, o.y0);
        put(1, e.u1, t1);
        put(2, e.u2, t2);
        put(3, e.u3, t3);
    }
}

// Scalar reference of one stage (n = 4m, the radix-8 last stage n = 8 of odd orders, or the
// radix-2 transform n = 2 of order 1).
template <bool Inverse>
void stage_scalar(const float* x, float* y, std::size_t n, std::size_t s, const float* tw) {
    if (n == 8) {
        radix8_scalar<Inverse>(x, y, s);
        return;
    }
    if (n == 2) {
        for (std::size_t q = 0; q < s; ++q)
            for (int c = 0; c < 2; ++c) {
                const float a = x[2 * q + c], b = x[2 * (q + s) + c];
                y[2 * q + c] = a + b;
                y[2 * (q + s) + c] = a - b;
            }
        return;
    }
    const std::size_t m = n / 4;
    for (std::size_t p = 0; p < m; ++p) {
        float c1r = 1, c1i = 0, c2r = 1, c2i = 0, c3r = 1, c3i = 0;
        if (p > 0) {
            const std::size_t e = s * p;
            c1r = w1r(tw, e);
            c1i = Inverse ? -w1i(tw, e) : w1i(tw, e);
            c2r = w2r(tw, e);
            c2i = Inverse ? -w2i(tw, e) : w2i(tw, e);
            c3r = c1r * c2r - c1i * c2i;
            c3i = c1r * c2i + c1i * c2r;
        }
        for (std::size_t q = 0; q < s; ++q) {
            const float* in = x + 2 * (q + s * p);
            const Radix4Scalar<Inverse> r({in[0], in[1]}, {in[2 * s * m], in[2 * s * m + 1]},
                                          {in[4 * s * m], in[4 * s * m + 1]},
                                          {in[6 * s * m], in[6 * s * m + 1]});
            const Cx u1 = r.u1, u2 = r.u2, u3 = r.u3;
            float* out = y + 2 * (q + 4 * s * p);
            out[0] = r.y0.re;
            out[1] = r.y0.im;
            if (p == 0) {
                out[2 * s] = u1.re;
                out[2 * s + 1] = u1.im;
                out[4 * s] = u2.re;
                out[4 * s + 1] = u2.im;
                out[6 * s] = u3.re;
                out[6 * s + 1] = u3.im;
            } else {
                out[2 * s] = u1.re * c1r - u1.im * c1i;
                out[2 * s + 1] = u1.im * c1r + u1.re * c1i;
                out[4 * s] = u2.re * c2r - u2.im * c2i;
                out[4 * s + 1] = u2.im * c2r + u2.re * c2i;
                out[6 * s] = u3.re * c3r - u3.im * c3i;
                out[6 * s + 1] = u3.im * c3r + u3.re * c3i;
            }
        }
    }
}

using simd::F32x4;
using simd::load;
using simd::store;

// x * w for two complex values with w given as (wr, wr, wr', wr') and (-wi, wi, -wi', wi').
inline F32x4 cmul(F32x4 x, F32x4 wr, F32x4 wi) { return x * wr + simd::swap_pairs(x) * wi; }

// The four outputs of a radix-4 butterfly before twiddling: (a+c)+(b+d), u1, (a+c)-(b+d), u3.
template <bool Inverse> struct Radix4 {
    F32x4 y0, u1, u2, u3;
    Radix4(F32x4 a, F32x4 b, F32x4 c, F32x4 d) {
        const F32x4 lane0 = simd::set(-0.0f, 0.0f, -0.0f, 0.0f);
        const F32x4 apc = a + c, amc = a - c;
        const F32x4 bpd = b + d, bmd = b - d;
        const F32x4 jb = simd::swap_pairs(bmd) ^ lane0;
        y0 = apc + bpd;
        u2 = apc - bpd;
        u1 = Inverse ? amc + jb : amc - jb;
        u3 = Inverse ? amc - jb : amc + jb;
    }
};

// The sign flip of the inverse's conjugate twiddles (a no-op forward).
template <bool Inverse> inline F32x4 conj_flip() { return simd::splat(Inverse ? -0.0f : 0.0f); }

// First stage (s = 1, n = N, m = N/4 >= 2): two values of p per register.
template <bool Inverse>
void stage_first_sse2(const float* x, float* y, std::size_t n, const float* tw) {
    using simd::load_aligned;
    const std::size_t m = n / 4;
    const F32x4 flip = conj_flip<Inverse>();
    for (std::size_t p = 0; p < m; p += 2) {
        const Radix4<Inverse> r(load(x + 2 * p), load(x + 2 * (p + m)), load(x + 2 * (p + 2 * m)),
                                load(x + 2 * (p + 3 * m)));
        const float* b = tw + 8 * p;
        const F32x4 c1r = load_aligned(b), c1i = load_aligned(b + 4) ^ flip;
        const F32x4 c2r = load_aligned(b + 8), c2i = load_aligned(b + 12) ^ flip;
        const F32x4 c3r = c1r * c2r - c1i * c2i;
        const F32x4 c3i = c1r * c2i + c1i * c2r;
        const F32x4 r1 = cmul(r.u1, c1r, c1i), r2 = cmul(r.u2, c2r, c2i), r3 = cmul(r.u3, c3r, c3i);
        float* out = y + 8 * p;
        store(out, simd::concat_lo(r.y0, r1));
        store(out + 4, simd::concat_lo(r2, r3));
        store(out + 8, simd::concat_hi(r.y0, r1));
        store(out + 12, simd::concat_hi(r2, r3));
    }
}

// The radix-8 last stage of odd orders with two values of q per register (s >= 4), the same
// operations as radix8_scalar.
template <bool Inverse> void radix8_sse2(const float* x, float* y, std::size_t s) {
    const std::size_t st = 2 * s;
    using simd::swap_pairs;
    const F32x4 neg0 = simd::set(-0.0f, 0.0f, -0.0f, 0.0f);
    const F32x4 neg1 = simd::set(0.0f, -0.0f, 0.0f, -0.0f);
    const F32x4 r = simd::splat(kHalfSqrt2);
    for (std::size_t q = 0; q < st; q += 4) {
        const float* in = x + q;
        const Radix4<Inverse> e(load(in), load(in + 2 * st), load(in + 4 * st), load(in + 6 * st));
        const Radix4<Inverse> o(load(in + st), load(in + 3 * st), load(in + 5 * st),
                                load(in + 7 * st));
        const F32x4 sign = Inverse ? neg0 : neg1;
        const F32x4 t1 = (o.u1 + (swap_pairs(o.u1) ^ sign)) * r;
        const F32x4 t2 = swap_pairs(o.u2) ^ sign;
        const F32x4 t3 = ((swap_pairs(o.u3) ^ sign) - o.u3) * r;
        float* out = y + q;
        store(out, e.y0 + o.y0);
        store(out + 4 * st, e.y0 - o.y0);
        store(out + st, e.u1 + t1);
        store(out + 5 * st, e.u1 - t1);
        store(out + 2 * st, e.u2 + t2);
        store(out + 6 * st, e.u2 - t2);
        store(out + 3 * st, e.u3 + t3);
        store(out + 7 * st, e.u3 - t3);
    }
}

// Later stages (s >= 2): two values of q per register, one twiddle set per p.
template <bool Inverse>
void stage_sse2(const float* x, float* y, std::size_t n, std::size_t s, const float* tw) {
    const std::size_t m = n / 4, sm = 2 * s * m;
    for (std::size_t p = 0; p < m; ++p) {
        const float* in = x + 2 * s * p;
        float* out = y + 8 * s * p;
        if (p == 0) {
#pragma GCC unroll 2
            for (std::size_t q = 0; q < 2 * s; q += 4) {
                const Radix4<Inverse> r(load(in + q), load(in + q + sm), load(in + q + 2 * sm),
                                        load(in + q + 3 * sm));
                store(out + q, r.y0);
                store(out + q + 2 * s, r.u1);
                store(out + q + 4 * s, r.u2);
                store(out + q + 6 * s, r.u3);
            }
            continue;
        }
        // s is a multiple of 4, so w^(sp) sits in lane 0 of its block: the pairs (wr, wr) and
        // (-wi, wi) read as one double each and broadcast.
        const float* blk = tw + kBlockFloats * (s * p >> 1);
        using simd::load_pair_twice;
        const F32x4 flip = conj_flip<Inverse>();
        const F32x4 v1r = load_pair_twice(blk), v1i = load_pair_twice(blk + 4) ^ flip;
        const F32x4 v2r = load_pair_twice(blk + 8), v2i = load_pair_twice(blk + 12) ^ flip;
        // w^3 = w w^2 with the scalar code's products: (c1r c2r - c1i c2i, c1r c2i + c1i c2r).
        const F32x4 v3r = v1r * v2r - v1i * v2i;
        const F32x4 v3i = v1r * v2i + v1i * v2r;
#pragma GCC unroll 2
        for (std::size_t q = 0; q < 2 * s; q += 4) {
            const Radix4<Inverse> r(load(in + q), load(in + q + sm), load(in + q + 2 * sm),
                                    load(in + q + 3 * sm));
            store(out + q, r.y0);
            store(out + q + 2 * s, cmul(r.u1, v1r, v1i));
            store(out + q + 4 * s, cmul(r.u2, v2r, v2i));
            store(out + q + 6 * s, cmul(r.u3, v3r, v3i));
        }
    }
}

// All stages; the last one writes dst. work holds N complex values (orders up to 5 bring
// their own).
template <bool Inverse, bool Simd>
void stockham(const float* src, float* dst, float* work, const ZemFftSpec& spec) {
    const int32_t order = spec.order;
    const std::size_t n = std::size_t(1) << order;
    if (order == 0) {
        dst[0] = src[0];
        dst[1] = src[1];
        return;
    }
    alignas(16) float local[64];
    if (order <= kSmallMaxOrder)
        work = local;
    const int32_t stages = order == 1 ? 1 : order / 2; // radix 4, ending in radix 8 if odd
    const float* tw = stockham_table(spec);
    // Stage i writes dst when stages - i is even; in place, an odd count first moves the input
    // out of the way.
    if (src == dst && (stages & 1)) {
        std::memcpy(work, src, 8 * n);
        src = work;
    }
    const float* in = src;
    std::size_t len = n, s = 1;
    for (int32_t i = 1; i <= stages; ++i) {
        float* out = ((stages - i) & 1) ? work : dst;
        const std::size_t radix = len == 2 || len == 8 ? len : 4;
        if (!Simd || (s == 1 && len <= 8))
            stage_scalar<Inverse>(in, out, len, s, tw);
        else if (len == 8)
            radix8_sse2<Inverse>(in, out, s);
        else if (s == 1)
            stage_first_sse2<Inverse>(in, out, len, tw);
        else
            stage_sse2<Inverse>(in, out, len, s, tw);
        in = out;
        len /= radix;
        s *= radix;
    }
}

template <bool Inverse, bool Simd>
void kernel(const float* src, float* dst, float* work, const ZemFftSpec& s) {
    if (s.order <= kTableMaxOrder) {
        stockham<Inverse, Simd>(src, dst, work, s);
        return;
    }
    // Large orders: radix-2 stages in place until the blocks of 2^12 values are independent
    // transforms, each of which the Stockham kernel finishes with the work buffer. Stored
    // with its 12 bits reversed, block b then holds what the plain radix-2 transform would
    // have left there, and one bit-reversal pass of the whole array gives natural order.
    if (src != dst)
        std::memmove(dst, src, (std::size_t(8) << s.order));
    constexpr std::size_t kBlock = std::size_t(1) << kLargeBlockOrder;
    if (Simd)
        dif_sse2<Inverse>(dst, s, kBlock);
    else
        dif_scalar<Inverse>(Interleaved{dst}, s, kBlock);
    for (float* blk = dst; blk < dst + (std::size_t(2) << s.order); blk += 2 * kBlock) {
        stockham<Inverse, Simd>(blk, blk, work, *s.block);
        std::memcpy(work, blk, 8 * kBlock);
        for (std::size_t k = 0; k < kBlock; ++k) {
            const std::size_t r = reverse_bits(uint32_t(k), kLargeBlockOrder);
            blk[2 * r] = work[2 * k];
            blk[2 * r + 1] = work[2 * k + 1];
        }
    }
    bit_reverse<2>(dst, s.order);
}

ZemStatus init_common(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                      uint8_t* pMemSpec, uint8_t* pMemInit, int32_t tag) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    if (order < 0 || order > kFftMaxOrder)
        return zemStatusBadOrder;
    if (pMemSpec == nullptr)
        return zemStatusNullPointer;
    uint8_t* base = align_up<32>(pMemSpec);
    auto* s = reinterpret_cast<ZemFftSpec*>(base);
    std::memset(s, 0, sizeof(ZemFftSpec));
    s->order = order;
    s->hint = hint;
    if (!valid_mode(scalingMode))
        return zemStatusBadFlag;
    if (order >= 11 && pMemInit == nullptr)
        return zemStatusNullPointer;
    const int64_t n = int64_t(1) << order;
    s->scaleFwd = scalingMode == FftScaleFwdByN || scalingMode == FftScaleBySqrtN;
    s->scaleInv = scalingMode == FftScaleInvByN || scalingMode == FftScaleBySqrtN;
    if (scalingMode == FftScaleFwdByN || scalingMode == FftScaleInvByN)
        s->scale = 1.0f / float(n);
    else if (scalingMode == FftScaleBySqrtN)
        s->scale = inv_sqrt_refined(float(n));
    s->workSize = spec_work_bytes(order);
    if (order > kSmallMaxOrder) {
        float* tw = reinterpret_cast<float*>(base + kHeaderBytes);
        s->twiddle = tw;
        if (order <= kTableMaxOrder) {
            for (int64_t p = 0; p < n / 4; p += 2)
                fill_block(tw + kBlockFloats * std::size_t(p / 2), std::size_t(p), std::size_t(n),
                           cos_sin);
        } else {
            // Only the run of the first radix-2 stage, e^(-j*2*pi*i/N), i < N/2.
            for (int64_t i = 0; i < n / 2; ++i) {
                const CosSin w = cos_sin(double(i), double(n));
                tw[2 * i] = float(w.c);
                tw[2 * i + 1] = float(-w.s);
            }
            s->twiddleStrided = 1;
            ZemFftSpec* block = nullptr;
            init_common(&block, kLargeBlockOrder, FftNoScale, 0, base + kHeaderBytes + 4 * n,
                        pMemInit, kFftTagInterleaved);
            s->block = block;
        }
    }
    s->tag = tag;
    *ppSpec = s;
    return zemStatusOk;
}

// Runs body(work) with the caller's work buffer aligned to 32 bytes, or with one allocated for
// the call when the record needs one and the caller gave none.
template <typename Body> ZemStatus with_work(const ZemFftSpec* s, uint8_t* pWorkBuf, Body body) {
    const WorkBuffer work(pWorkBuf, s->workSize > 0 ? int64_t(s->workSize) + 32 : 0);
    if (work.failed())
        return zemStatusNoMemory;
    body(reinterpret_cast<float*>(work.get()));
    return zemStatusOk;
}

template <bool Inverse>
ZemStatus fft_interleaved(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec,
                          uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagInterleaved)
        return zemStatusContextMismatch;
    if (pSrc == nullptr || pDst == nullptr)
        return zemStatusNullPointer;
    return with_work(pSpec, pWorkBuf, [&](float* work) {
        float* x = reinterpret_cast<float*>(pDst);
        kernel<Inverse, true>(reinterpret_cast<const float*>(pSrc), x, work, *pSpec);
        if (Inverse ? pSpec->scaleInv : pSpec->scaleFwd)
            scale_vector_32f(pSpec->scale, x, int32_t(2) << pSpec->order);
    });
}

} // namespace

const FftKernels kFftScalar = {kernel<false, false>, kernel<true, false>};
const FftKernels kFftSse2 = {kernel<false, true>, kernel<true, true>};

const float* fft_twiddle_table(const ZemFftSpec& spec) { return stockham_table(spec); }

FftCoreSizes fft_core_sizes(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kTableMaxOrder)
        return {a32(8 * n + 8) + a32(n + 4), a32(8 * n)};
    const LargeSizes s = large_sizes(order);
    return {s.spec, s.work};
}

int64_t fft_footprint(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kSmallMaxOrder)
        return sizeof(ZemFftSpec);
    if (order <= kTableMaxOrder)
        return kHeaderBytes + 8 * n;
    return kHeaderBytes + 4 * n + fft_footprint(kLargeBlockOrder);
}

void fft_in_place(float* data, const ZemFftSpec& spec, bool inverse, uint8_t* work) {
    float* w = reinterpret_cast<float*>(work);
    if (inverse)
        kFftSse2.inverse(data, data, w, spec);
    else
        kFftSse2.forward(data, data, w, spec);
}

float fft_inv_sqrt(float n) { return inv_sqrt_refined(n); }

ZemStatus fft_get_buf_sizes(int32_t order, int32_t scalingMode, int32_t, int32_t* pSizeSpec,
                            int32_t* pSizeInit, int32_t* pSizeWork) {
    if (order < 0 || order > 30)
        return zemStatusBadOrder;
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    if (!valid_mode(scalingMode))
        return zemStatusBadFlag;
    if (order > kFftMaxOrder)
        return zemStatusBadOrder;
    const Sizes s = fft_sizes(order);
    *pSizeSpec = s.spec;
    *pSizeInit = s.init;
    *pSizeWork = s.work;
    return zemStatusOk;
}
ZemStatus fft_init(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                   uint8_t* pMemSpec, uint8_t* pMemInit) {
    return init_common(ppSpec, order, scalingMode, hint, pMemSpec, pMemInit, kFftTagInterleaved);
}

ZemStatus fft_init_split(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                         uint8_t* pMemSpec, uint8_t* pMemInit) {
    return init_common(ppSpec, order, scalingMode, hint, pMemSpec, pMemInit, kFftTagSplit);
}

ZemStatus fft_init_alloc(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    int32_t sizeSpec = 0, sizeInit = 0, sizeWork = 0;
    if (const ZemStatus st =
            fft_get_buf_sizes(order, scalingMode, hint, &sizeSpec, &sizeInit, &sizeWork);
        st != zemStatusOk)
        return st;
    return alloc_spec_block(ppSpec, sizeSpec, sizeInit,
                            [&](ZemFftSpec** spec, uint8_t* mem, uint8_t* init) {
                                return fft_init(spec, order, scalingMode, hint, mem, init);
                            });
}

ZemStatus fft_free(ZemFftSpec* pSpec) { return free_spec_block(pSpec, kFftTagInterleaved); }

ZemStatus fft_get_work_size(const ZemFftSpec* pSpec, int32_t* pSize) {
    if (pSpec == nullptr || pSize == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagInterleaved)
        return zemStatusContextMismatch;
    *pSize = pSpec->workSize > 0 ? pSpec->workSize + 32 : 0;
    return zemStatusOk;
}

ZemStatus fft_fwd(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec, uint8_t* pWorkBuf) {
    return fft_interleaved<false>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus fft_inv(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec, uint8_t* pWorkBuf) {
    return fft_interleaved<true>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus fft_fwd_split(const float* pSrcRe, const float* pSrcIm, float* pDstRe, float* pDstIm,
                        const ZemFftSpec* pSpec, uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagSplit)
        return zemStatusContextMismatch;
    if (pSrcRe == nullptr || pSrcIm == nullptr || pDstRe == nullptr || pDstIm == nullptr)
        return zemStatusNullPointer;
    return with_work(pSpec, pWorkBuf, [&](float*) {
        const std::size_t n = std::size_t(1) << pSpec->order;
        if (pSrcRe != pDstRe)
            std::memmove(pDstRe, pSrcRe, n * sizeof(float));
        if (pSrcIm != pDstIm)
            std::memmove(pDstIm, pSrcIm, n * sizeof(float));
        dif_scalar<false>(Split{pDstRe, pDstIm}, *pSpec);
        bit_reverse<1>(pDstRe, pSpec->order);
        bit_reverse<1>(pDstIm, pSpec->order);
        if (pSpec->scaleFwd) {
            scale_vector_32f(pSpec->scale, pDstRe, int32_t(n));
            scale_vector_32f(pSpec->scale, pDstIm, int32_t(n));
        }
    });
}

ZemStatus scale_vector_32f(float factor, float* pData, int32_t len) {
    if (pData == nullptr)
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    if (factor == 1.0f)
        return zemStatusOk;
    if (factor == 0.0f)
        return zero_words(pData, len); // a byte count would overflow 32 bits for long vectors
    int32_t i = 0;
    for (; i < len && (reinterpret_cast<std::uintptr_t>(pData + i) & 15) != 0; ++i)
        pData[i] *= factor;
    const simd::F32x4 f = simd::splat(factor);
    const bool prefetch = len > 0x20000;
    for (; i + 4 <= len; i += 4) {
        if (prefetch)
            simd::prefetch_once(pData + i + 256);
        simd::store_aligned(pData + i, simd::load_aligned(pData + i) * f);
    }
    for (; i < len; ++i)
        pData[i] *= factor;
    return zemStatusOk;
}

} // namespace zem
