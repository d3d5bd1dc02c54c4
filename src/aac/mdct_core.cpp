#include "aac/mdct_core.hpp"

#include <cstdlib>
#include <cstring>

#include "aac/filterbank_tables.hpp"
#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd_avx2.hpp"
#include "transform/fixed_fft.hpp"

namespace zem::aac {

namespace {

struct CoreTables {
    const int32_t* cs; // (C[m], S[m]) pairs
    int order;         // FFT of 2^order = N/2 points
    const int32_t* fftTwiddle;
    const uint8_t* fftSwap;
};

CoreTables tables_for(int N) {
    if (N == 1024)
        return {kTwiddlesLong.cs, 9, kFftLong.twiddle, kFftLong.swap};
    return {kTwiddlesShort.cs, 6, kFftShort.twiddle, kFftShort.swap};
}

// Steps shared by the inverse cores: pre-twiddle Z[m] = hi((C + jS)-rotation of (X[2m],
// X[N-1-2m])). Z[m] lands on X[2m], X[2m+1]; m and M-1-m touch the same four slots, so they go
// together.
void inverse_pre_twiddle(int32_t* X, int N, const int32_t* cs) {
    const int M = N / 2;
    for (int m = 0; m < M / 2; ++m) {
        const int m2 = M - 1 - m;
        const int64_t a1 = X[2 * m], b1 = X[N - 1 - 2 * m];
        const int64_t a2 = X[2 * m2], b2 = X[N - 1 - 2 * m2];
        const int64_t c1 = cs[2 * m], s1 = cs[2 * m + 1];
        const int64_t c2 = cs[2 * m2], s2 = cs[2 * m2 + 1];
        X[2 * m] = hi32(c1 * a1 + s1 * b1);
        X[2 * m + 1] = hi32(c1 * b1 - s1 * a1);
        X[2 * m2] = hi32(c2 * a2 + s2 * b2);
        X[2 * m2 + 1] = hi32(c2 * b2 - s2 * a2);
    }
}

// Shift s that brings the 64-bit sum of magnitudes below 2^29, applied with rounding.
int normalise(int32_t* X, int N) {
    int64_t sum = 0;
    for (int i = 0; i < N; ++i)
        sum += std::llabs(int64_t(X[i]));
    int s = 0;
    while ((sum >> s) >= 0x20000000)
        ++s;
    if (s > 0)
        for (int i = 0; i < N; ++i)
            X[i] = int32_t((int64_t(X[i]) + (int64_t(1) << (s - 1))) >> s);
    return s;
}

// Rounding of the post-twiddle products by r more bits than hi(): r >= 1 rounds, r <= 0 keeps
// the low 32 bits of P >> (32 + r). Adding the half before one shift by 32 + r gives the same
// value as rounding hi(P) by r (nested floors), and the 64-bit sum cannot overflow.
struct PostScale {
    int64_t half;
    int shift;
    explicit PostScale(int r) : half(r >= 1 ? int64_t(1) << (31 + r) : 0), shift(32 + r) {}
    int32_t operator()(int64_t p) const { return int32_t(uint32_t(uint64_t((p + half) >> shift))); }
};

struct PlainScale {
    int32_t operator()(int64_t p) const { return hi32(p); }
};

// Post-twiddle of the inverse cores: A = C Re Y + S Im Y, B = C Im Y - S Re Y, scattered into
// the compact output order. The four m of one i (i, M-1-i, Q-1-i, Q+i) read and write the same
// eight slots; in the order Q+i, i, M-1-i, Q-1-i each write lands on a value already read, and
// few values are live at a time.
template <typename Scale> void inverse_post_twiddle(int32_t* X, int N, const int32_t* cs, Scale R) {
    const int M = N / 2, Q = N / 4;
    auto rotate = [&](int m, int64_t re, int64_t im, int32_t& a, int32_t& b) {
        const int64_t c = cs[2 * m], s = cs[2 * m + 1];
        a = R(c * re + s * im);
        b = R(c * im - s * re);
    };
    for (int i = 0; i < N / 8; ++i) {
        int32_t a, b;
        const int64_t re0 = X[2 * i];
        rotate(Q + i, X[M + 2 * i], X[M + 1 + 2 * i], a, b);
        X[2 * i] = a;
        X[M + 2 * i] = b;
        const int64_t im0 = X[2 * i + 1], im1 = X[N - 1 - 2 * i], im2 = X[M - 1 - 2 * i];
        rotate(i, re0, im0, a, b);
        X[N - 1 - 2 * i] = wrap_neg(a);
        X[M - 1 - 2 * i] = wrap_neg(b);
        const int64_t re2 = X[M - 2 - 2 * i];
        rotate(M - 1 - i, X[N - 2 - 2 * i], im1, a, b);
        X[M - 2 - 2 * i] = a;
        X[N - 2 - 2 * i] = b;
        rotate(Q - 1 - i, re2, im2, a, b);
        X[M + 1 + 2 * i] = wrap_neg(a);
        X[2 * i + 1] = wrap_neg(b);
    }
}

// Rotation and folding of 2N windowed samples into u[0..N), in place in x[0..N).
// With v[n] = -x[n + 3N/2] (n < N/2), x[n - N/2] (n >= N/2), the fold pairs v[k] with
// v[2N-1-k]: d[k] = v[k] - v[2N-1-k], and u[i] = d[i] for even i, d[N-i] for odd i. Written out
// per half, with H = N/2: even i < H gives -x[3H+i] - x[3H-1-i], even i >= H gives
// x[i-H] - x[3H-1-i], odd i < H gives x[H-i] - x[H-1+i], odd i > H gives -x[5H-i] - x[H-1+i].
void fold(int32_t* x, int N) {
    const int H = N / 2;
    int32_t u[1024];
    for (int i = 0; i < H; i += 2) {
        u[i] = wrap_sub(wrap_neg(x[3 * H + i]), x[3 * H - 1 - i]);
        u[i + 1] = wrap_sub(x[H - 1 - i], x[H + i]);
    }
    for (int i = H; i < N; i += 2) {
        u[i] = wrap_sub(x[i - H], x[3 * H - 1 - i]);
        u[i + 1] = wrap_sub(wrap_neg(x[5 * H - 1 - i]), x[H + i]);
    }
    std::memcpy(x, u, sizeof(int32_t) * std::size_t(N));
}

// fold() four values at a time: the even lanes of u take -x[3H+i] - x[3H-1-i] (first half) or
// x[i-H] - x[3H-1-i] (second half), the odd lanes x[H-i] - x[H-1+i] or -x[5H-i] - x[H-1+i],
// the falling indices read backwards.
void fold_sse2(int32_t* x, int N) {
    using namespace simd;
    const int H = N / 2;
    const I32x4 even = set(-1, 0, -1, 0), zero = splat(0);
    int32_t u[1024];
    for (int i = 0; i < N; i += 4) {
        const I32x4 up = load(x + H - 1 + i), down = reverse(load(x + 3 * H - 4 - i));
        const I32x4 e = i < H ? zero - load(x + 3 * H + i) - down : load(x + i - H) - down;
        const I32x4 o = i < H ? reverse(load(x + H - 3 - i)) - up
                              : zero - shuffle<3, 3, 1, 1>(load(x + 5 * H - 4 - i)) - up;
        store(u + i, blend(even, e, o));
    }
    std::memcpy(x, u, sizeof(int32_t) * std::size_t(N));
}

// Pre-twiddle of the forward cores: Z[m] = (C a + S b, C b - S a) for the pair (a, b) at m.
template <typename Scale> void forward_pre_twiddle(int32_t* x, int N, const int32_t* cs, Scale R) {
    for (int m = 0; m < N / 2; ++m) {
        const int64_t c = cs[2 * m], s = cs[2 * m + 1];
        const int64_t a = x[2 * m], b = x[2 * m + 1];
        x[2 * m] = R(c * a + s * b);
        x[2 * m + 1] = R(c * b - s * a);
    }
}

template <typename Scale> void forward_post_twiddle(int32_t* X, int N, const int32_t* cs, Scale R) {
    for (int i = 0; i < N / 4; ++i) {
        const int j = N / 2 - 1 - i;
        const int64_t ci = cs[2 * i], si = cs[2 * i + 1], cj = cs[2 * j], sj = cs[2 * j + 1];
        const int64_t rei = X[2 * i], imi = X[2 * i + 1], rej = X[2 * j], imj = X[2 * j + 1];
        X[2 * i] = R(ci * rei + si * imi);
        X[N - 1 - 2 * i] = R(si * rei - ci * imi);
        X[2 * i + 1] = R(sj * rej - cj * imj);
        X[N - 2 - 2 * i] = R(cj * rej + sj * imj);
    }
}

// Truncating shift by 29 of the plain forward core.
struct ForwardScale {
    int32_t operator()(int64_t p) const { return int32_t(uint32_t(uint64_t(p >> 29))); }
};

// The inverse cores' steps with four lanes, giving the same bits as the scalar ones above.
// SSE2 multiplies only unsigned lanes, so the signed factors go in biased: a + 2^31, which is
// a with its sign bit flipped, and the twiddle factors C, S are not negative. Then
// C a + S b = C (a + 2^31) + S (b + 2^31) - 2^31 (C + S) and C b - S a the same way, exact
// modulo 2^64 and so exact.
struct RotatedSse2 {
    simd::U64x2 a, b; // C re + S im, C im - S re, for the pairs in lanes 0 and 2
};

// re, im: lanes 0 and 2; pairs: (C, S) of the two rotations.
inline RotatedSse2 rotate_sse2(simd::I32x4 re, simd::I32x4 im, simd::I32x4 pairs) {
    using namespace simd;
    const I32x4 bias = splat(INT32_MIN);
    const I32x4 ub = re ^ bias, vb = im ^ bias, s = odd_lanes(pairs);
    const U64x2 kc = mul_even_u32(pairs, bias), ks = mul_even_u32(s, bias);
    return {mul_even_u32(ub, pairs) + mul_even_u32(vb, s) - (kc + ks),
            mul_even_u32(vb, pairs) - mul_even_u32(ub, s) - (kc - ks)};
}

// Pre-twiddle of two m at a time with their mirrors (as inverse_pre_twiddle_avx2 with four),
// returning the 64-bit sum of the magnitudes of its outputs for normalise_sse2.
uint64_t inverse_pre_twiddle_sse2(int32_t* X, int N, const int32_t* cs) {
    using namespace simd;
    const int M = N / 2;
    U64x2 even = zero64(), odd = zero64();
    auto rotate = [&](I32x4 a, I32x4 b, const int32_t* pairs) {
        const RotatedSse2 r = rotate_sse2(a, b, load(pairs));
        const I32x4 z = high_words(r.a, r.b), m = abs(z);
        even = even + even_u64(m);
        odd = odd + odd_u64(m);
        return z;
    };
    for (int m0 = 0; m0 < M / 2; m0 += 2) {
        int32_t* front = X + 2 * m0;
        int32_t* back = X + N - 4 - 2 * m0;
        const I32x4 f = load(front), b = load(back);
        store(front, rotate(f, reverse(b), cs + 2 * m0));
        store(back, rotate(b, reverse(f), cs + 2 * (M - 2 - m0)));
    }
    return sum(even + odd);
}

// normalise() given the sum of magnitudes: the rounding shift as (x >> s) plus bit s-1 of x.
int normalise_sse2(int32_t* X, int N, uint64_t total) {
    using namespace simd;
    int s = 0;
    while ((total >> s) >= 0x20000000)
        ++s;
    if (s > 0) {
        const I32x4 one = splat(1);
        for (int i = 0; i < N; i += 4) {
            const I32x4 x = load(X + i);
            store(X + i, sar_by(x, s) + (sar_by(x, s - 1) & one));
        }
    }
    return s;
}

// Post-twiddle, two i at a time (as inverse_post_twiddle_avx2 with four), with the rounding of
// PostScale(r).
void inverse_post_twiddle_sse2(int32_t* X, int N, const int32_t* cs, int r) {
    using namespace simd;
    const int M = N / 2, Q = N / 4;
    const U64x2 half = splat64(r >= 1 ? int64_t(1) << (31 + r) : 0);
    const I32x4 odd = set(0, -1, 0, -1);
    auto pairs_rotated = [](I32x4 z, I32x4 pairs) { return rotate_sse2(z, odd_lanes(z), pairs); };
    // (R(x_j), -R(y_j)) pairs.
    auto scale = [&](U64x2 x, U64x2 y) {
        const I32x4 v = r >= 1 ? sar_by(high_words(x + half, y + half), r)
                               : low_words(shr_by(x, 32 + r), shr_by(y, 32 + r));
        return negate_where(v, odd);
    };
    auto swapped = [](I32x4 v) { return shuffle<2, 3, 0, 1>(v); };
    for (int i0 = 0; i0 < N / 8; i0 += 2) {
        int32_t* p0 = X + 2 * i0;
        int32_t* p1 = X + M + 2 * i0;
        int32_t* p2 = X + M - 4 - 2 * i0;
        int32_t* p3 = X + N - 4 - 2 * i0;
        const RotatedSse2 A = pairs_rotated(load(p1), load(cs + 2 * (Q + i0)));
        const RotatedSse2 B = pairs_rotated(load(p0), load(cs + 2 * i0));
        const RotatedSse2 C =
            pairs_rotated(swapped(load(p3)), swapped(load(cs + 2 * (M - 2 - i0))));
        const RotatedSse2 D =
            pairs_rotated(swapped(load(p2)), swapped(load(cs + 2 * (Q - 2 - i0))));
        store(p0, scale(A.a, D.b));
        store(p1, scale(A.b, D.a));
        store(p2, swapped(scale(C.a, B.b)));
        store(p3, swapped(scale(C.b, B.a)));
    }
}

#if ZEM_HAS_AVX2_KERNELS
// The inverse cores' own steps with eight lanes, giving the same bits as the scalar ones above.

// Pre-twiddle of four m at a time together with their four mirrors M-1-m: the eight values at
// X[2m0..) hold the a of m0..m0+3 and, reversed, the b of the mirrors; those at X[N-8-2m0..)
// the other way round.
ZEM_AVX2 void inverse_pre_twiddle_avx2(int32_t* X, int N, const int32_t* cs) {
    using namespace simd;
    const int M = N / 2;
    auto rotate = [](I32x8 a, I32x8 b, const int32_t* pairs) ZEM_AVX2 {
        const I32x8 c = load8(pairs), s = odd_words(c);
        return high_words(mul_even(a, c) + mul_even(b, s), mul_even(b, c) - mul_even(a, s));
    };
    for (int m0 = 0; m0 < M / 2; m0 += 4) {
        int32_t* front = X + 2 * m0;
        int32_t* back = X + N - 8 - 2 * m0;
        const I32x8 f = load8(front), b = load8(back);
        store(front, rotate(f, reverse(b), cs + 2 * m0));
        store(back, rotate(b, reverse(f), cs + 2 * (M - 4 - m0)));
    }
}

// The shift of normalise(): the exact 64-bit sum of magnitudes (|INT32_MIN| read as 2^31), and
// the rounding shift as (x >> s) plus bit s-1 of x, which cannot overflow.
ZEM_AVX2 int normalise_avx2(int32_t* X, int N) {
    using namespace simd;
    I64x4 even = zero64x4(), odd = zero64x4();
    for (int i = 0; i < N; i += 8) {
        const I32x8 m = abs(load8(X + i));
        even = even + even_u64(m);
        odd = odd + odd_u64(m);
    }
    const int64_t total = sum(even + odd);
    int s = 0;
    while ((total >> s) >= 0x20000000)
        ++s;
    if (s > 0) {
        const I32x8 one = splat8(1);
        for (int i = 0; i < N; i += 8) {
            const I32x8 x = load8(X + i);
            store(X + i, sar_by(x, s) + (sar_by(x, s - 1) & one));
        }
    }
    return s;
}

// Post-twiddle, four i at a time: the groups m = Q+i, i, M-1-i and Q-1-i read and write the
// eight values at X[2i0..), X[M+2i0..), X[M-8-2i0..) and X[N-8-2i0..) and nothing else.
struct Rotated {
    simd::I64x4 a, b; // c re + s im, c im - s re
};

ZEM_AVX2 inline Rotated rotate_pairs(simd::I32x8 z, simd::I32x8 pairs) {
    using namespace simd;
    const I32x8 im = odd_words(z), s = odd_words(pairs);
    return {mul_even(z, pairs) + mul_even(im, s), mul_even(im, pairs) - mul_even(z, s)};
}

ZEM_AVX2 void inverse_post_twiddle_avx2(int32_t* X, int N, const int32_t* cs, int r) {
    using namespace simd;
    const int M = N / 2, Q = N / 4;
    const I64x4 half{_mm256_set1_epi64x(r >= 1 ? int64_t(1) << (31 + r) : 0)};
    const I32x8 odd = set8(0, -1, 0, -1, 0, -1, 0, -1);
    // (R(x_j), -R(y_j)) pairs, R the rounding of PostScale(r).
    auto scale = [&](I64x4 x, I64x4 y) ZEM_AVX2 {
        const I32x8 v = r >= 1 ? sar_by(high_words(x + half, y + half), r)
                               : low_words(shr(x, 32 + r), shr(y, 32 + r));
        return negate_where(v, odd);
    };
    for (int i0 = 0; i0 < N / 8; i0 += 4) {
        int32_t* p0 = X + 2 * i0;
        int32_t* p1 = X + M + 2 * i0;
        int32_t* p2 = X + M - 8 - 2 * i0;
        int32_t* p3 = X + N - 8 - 2 * i0;
        const Rotated A = rotate_pairs(load8(p1), load8(cs + 2 * (Q + i0)));
        const Rotated B = rotate_pairs(load8(p0), load8(cs + 2 * i0));
        const Rotated C =
            rotate_pairs(reverse_pairs(load8(p3)), reverse_pairs(load8(cs + 2 * (M - 4 - i0))));
        const Rotated D =
            rotate_pairs(reverse_pairs(load8(p2)), reverse_pairs(load8(cs + 2 * (Q - 4 - i0))));
        store(p0, scale(A.a, D.b));
        store(p1, scale(A.b, D.a));
        store(p2, reverse_pairs(scale(C.a, B.b)));
        store(p3, reverse_pairs(scale(C.b, B.a)));
    }
}

// The plain forward core's twiddles with eight lanes. Pre-twiddle: (C a + S b, C b - S a)
// rounded by 2^30; post-twiddle, four i at a time with their mirrors j = N/2-1-i, whose pairs
// sit reversed at X[N-8-2i0..): X[2i] = A_i, X[2i+1] = -B_j, X[N-2-2i] = A_j, X[N-1-2i] = -B_i,
// each truncated by 2^29 (A, B as rotate_pairs gives them).
ZEM_AVX2 void forward_core_avx2(int32_t* x, int N) {
    using namespace simd;
    const CoreTables t = tables_for(N);
    fold_sse2(x, N);
    const I64x4 half{_mm256_set1_epi64x(int64_t(1) << 29)};
    for (int m0 = 0; m0 < N / 2; m0 += 4) {
        const Rotated P = rotate_pairs(load8(x + 2 * m0), load8(t.cs + 2 * m0));
        store(x + 2 * m0, low_words(shr(P.a + half, 30), shr(P.b + half, 30)));
    }
    kFixedFftAvx2.forward(x, t.order, t.fftTwiddle, t.fftSwap);
    const I64x4 zero = zero64x4();
    for (int i0 = 0; i0 < N / 4; i0 += 4) {
        int32_t* front = x + 2 * i0;
        int32_t* back = x + N - 8 - 2 * i0;
        const Rotated F = rotate_pairs(load8(front), load8(t.cs + 2 * i0));
        const Rotated B = rotate_pairs(reverse_pairs(load8(back)),
                                       reverse_pairs(load8(t.cs + 2 * (N / 2 - 4 - i0))));
        store(front, low_words(shr(F.a, 29), shr(zero - B.b, 29)));
        store(back, reverse_pairs(low_words(shr(B.a, 29), shr(zero - F.b, 29))));
    }
}

ZEM_AVX2 void inverse_core_avx2(int32_t* X, int N, bool normalised) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle_avx2(X, N, t.cs);
    const int s = normalised ? normalise_avx2(X, N) : 0;
    kFixedFftAvx2.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle_avx2(X, N, t.cs, normalised ? t.order - s - 3 : 0);
}
#endif

} // namespace

void aac_imdct_norm_32s(int32_t* X, int N) { inverse_cores().norm(X, N); }
void aac_imdct_32s(int32_t* X, int N) { inverse_cores().plain(X, N); }

void aac_imdct_norm_32s_scalar(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle(X, N, t.cs);
    const int s = normalise(X, N);
    kFixedFftScalar.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle(X, N, t.cs, PostScale(t.order - s - 3));
}

void aac_imdct_32s_scalar(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle(X, N, t.cs);
    kFixedFftScalar.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle(X, N, t.cs, PlainScale{});
}

void aac_imdct_norm_32s_sse2(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    const int s = normalise_sse2(X, N, inverse_pre_twiddle_sse2(X, N, t.cs));
    kFixedFftSse2.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle_sse2(X, N, t.cs, t.order - s - 3);
}

void aac_imdct_32s_sse2(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle_sse2(X, N, t.cs);
    kFixedFftSse2.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle_sse2(X, N, t.cs, 0);
}

void aac_mdct_32s(int32_t* x, int N) { forward_cores().plain(x, N); }

namespace {

// The plain forward core with the fold and the FFT of one instruction set; the twiddles are
// scalar code in both.
void forward_core(int32_t* x, int N, void (*fold_step)(int32_t*, int), const FixedFftKernels& fft) {
    const CoreTables t = tables_for(N);
    fold_step(x, N);
    forward_pre_twiddle(x, N, t.cs, [](int64_t p) { return int32_t((p + (1 << 29)) >> 30); });
    fft.forward(x, t.order, t.fftTwiddle, t.fftSwap);
    forward_post_twiddle(x, N, t.cs, ForwardScale{});
}

} // namespace

void aac_mdct_32s_scalar(int32_t* x, int N) { forward_core(x, N, fold, kFixedFftScalar); }
void aac_mdct_32s_sse2(int32_t* x, int N) { forward_core(x, N, fold_sse2, kFixedFftSse2); }

void aac_mdct_norm_32s(int32_t* x, int N) {
    const CoreTables t = tables_for(N);
    fold(x, N);
    forward_pre_twiddle(x, N, t.cs, PlainScale{});
    const int s = normalise(x, N);
    fixed_fft_kernels().forward(x, t.order, t.fftTwiddle, t.fftSwap);
    forward_post_twiddle(x, N, t.cs, PostScale(t.order - s - 3));
}

#if ZEM_HAS_AVX2_KERNELS
void aac_mdct_32s_avx2(int32_t* x, int N) { forward_core_avx2(x, N); }
void aac_imdct_norm_32s_avx2(int32_t* X, int N) { inverse_core_avx2(X, N, true); }
void aac_imdct_32s_avx2(int32_t* X, int N) { inverse_core_avx2(X, N, false); }
#endif

const InverseCores& inverse_cores() {
    return ZEM_CHOSEN_KERNELS(kInverseCoresSse2, kInverseCoresAvx2);
}

const ForwardCores& forward_cores() {
    return ZEM_CHOSEN_KERNELS(kForwardCoresSse2, kForwardCoresAvx2);
}

} // namespace zem::aac
