#include "mp3/imdct.hpp"

#include <initializer_list>

#include "core/constexpr_math.hpp"
#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "mp3/hybrid_constants.hpp"
#include "transform/twiddle.hpp"

namespace zem::mp3 {
namespace {

using cmath::kPi;

// The 36-point transform y[i] = sum_k X[k] cos(pi/72 (2i + 19)(2k + 1)) is the 18-point
// DCT-IV t[n] = sum_k X[k] cos(pi/18 (n + 1/2)(k + 1/2)) unfolded: y[i] = t[i + 9] for i < 9,
// -t[26 - i] for i < 27, -t[i - 27] above. The DCT-IV becomes, through the running sums
// u[m] = X[m] + X[m - 1], a DCT-III of u scaled by 1 / (2 cos((2n + 1) pi / 72)); its even
// inputs form a 9-point DCT-III E, its odd ones, summed pairwise once more, another one O
// scaled by 1 / (2 cos((2n + 1) pi / 36)). Both are symmetric (E[17 - n] = E[n]), so
// t[n] = c(n) (E[n] + O'[n]) and t[17 - n] = c(17 - n) (E[n] - O'[n]) for n < 9.
struct LongTables {
    double even[4][4]; // [m - 1][n]: cos(2m (2n + 1) pi / 18), m = 1..4
    double odd[4][4];  // [m][n]: cos((2m + 1)(2n + 1) pi / 18)
    double oddScale[9];
    double post[4][36]; // window / 4, the DCT-IV scale and the unfolding sign (types 0, 1, 3)
};

constexpr LongTables make_long_tables() {
    LongTables t{};
    for (int n = 0; n < 4; ++n)
        for (int m = 0; m < 4; ++m) {
            t.even[m][n] = cos_sin_constexpr((m + 1) * (2 * n + 1), 18.0).c;
            t.odd[m][n] = cos_sin_constexpr((2 * m + 1) * (2 * n + 1), 36.0).c;
        }
    for (int n = 0; n < 9; ++n)
        t.oddScale[n] = 1.0 / (2.0 * cos_sin_constexpr(2 * n + 1, 72.0).c);
    auto scale = [](int n) { return 1.0 / (2.0 * cos_sin_constexpr(2 * n + 1, 144.0).c); };
    for (int type : {0, 1, 3})
        for (int n = 0; n < 9; ++n) {
            auto w = [&](int i) { return 0.25 * long_window(type, i); };
            t.post[type][26 - n] = -w(26 - n) * scale(n);
            t.post[type][27 + n] = -w(27 + n) * scale(n);
            t.post[type][8 - n] = w(8 - n) * scale(17 - n);
            t.post[type][9 + n] = -w(9 + n) * scale(17 - n);
        }
    return t;
}

constexpr LongTables kLong = make_long_tables();

// The 12-point transforms: s[5 - i] = -s[i] and s[11 - i] = s[6 + i] (i < 3), so six rows.
constexpr int kShortRows[6] = {0, 1, 2, 6, 7, 8};

struct ShortTables {
    double cos[6][6]; // [row][k]
    double window[12];
};

constexpr ShortTables make_short_tables() {
    ShortTables t{};
    for (int r = 0; r < 6; ++r)
        for (int k = 0; k < 6; ++k)
            t.cos[r][k] = cmath::cos(kPi / 24.0 * (2 * kShortRows[r] + 7) * (2 * k + 1));
    for (int i = 0; i < 12; ++i)
        t.window[i] = 0.25 * short_window(i);
    return t;
}

constexpr ShortTables kShort = make_short_tables();

// The transforms are written once for double (one sub-band), simd::F64x2 and simd::F64x4 (two or
// four sub-bands in the lanes). Their loops are unrolled, so that the values stay in registers.
using simd::constant;

// E[n] = sum_{j < 9} e[j] cos(j (2n + 1) pi / 18), n = 0..8, from its even and odd halves:
// E[8 - n] takes the odd terms with the opposite sign.
template <class T> [[gnu::always_inline]] inline void dct9(const T* e, T* E) {
#pragma GCC unroll 4
    for (int n = 0; n < 4; ++n) {
        T ev = e[0], od = e[1] * constant<T>(kLong.odd[0][n]);
#pragma GCC unroll 4
        for (int m = 1; m <= 4; ++m)
            ev = ev + e[2 * m] * constant<T>(kLong.even[m - 1][n]);
#pragma GCC unroll 4
        for (int m = 1; m < 4; ++m)
            od = od + e[2 * m + 1] * constant<T>(kLong.odd[m][n]);
        E[n] = ev + od;
        E[8 - n] = ev - od;
    }
    E[4] = (e[0] + e[4] + e[8]) - (e[2] + e[6]);
}

template <class T>
[[gnu::always_inline]] inline void imdct_long(const T* x, T* out, int blockType) {
    T u[18], e[9], v[9], E[9], O[9];
    u[0] = x[0];
#pragma GCC unroll 18
    for (int m = 1; m < 18; ++m)
        u[m] = x[m] + x[m - 1];
#pragma GCC unroll 9
    for (int j = 0; j < 9; ++j)
        e[j] = u[2 * j];
    v[0] = u[1];
#pragma GCC unroll 9
    for (int j = 1; j < 9; ++j)
        v[j] = u[2 * j + 1] + u[2 * j - 1];
    dct9(e, E);
    dct9(v, O);
    const double* post = kLong.post[blockType];
#pragma GCC unroll 9
    for (int n = 0; n < 9; ++n) {
        const T o = O[n] * constant<T>(kLong.oddScale[n]);
        const T p = E[n] + o, m = E[n] - o;
        out[26 - n] = p * constant<T>(post[26 - n]);
        out[27 + n] = p * constant<T>(post[27 + n]);
        out[8 - n] = m * constant<T>(post[8 - n]);
        out[9 + n] = m * constant<T>(post[9 + n]);
    }
}

template <class T> [[gnu::always_inline]] inline void imdct_short(const T* x, T* out) {
#pragma GCC unroll 36
    for (int i = 0; i < 36; ++i)
        out[i] = constant<T>(0.0);
#pragma GCC unroll 3
    for (int win = 0; win < 3; ++win) {
        T s[12];
#pragma GCC unroll 6
        for (int r = 0; r < 6; ++r) {
            T acc = constant<T>(0.0);
#pragma GCC unroll 6
            for (int k = 0; k < 6; ++k)
                acc = acc + constant<T>(kShort.cos[r][k]) * x[6 * win + k];
            s[kShortRows[r]] = acc;
        }
#pragma GCC unroll 3
        for (int i = 0; i < 3; ++i) {
            s[5 - i] = constant<T>(0.0) - s[i];
            s[11 - i] = s[6 + i];
        }
#pragma GCC unroll 12
        for (int i = 0; i < 12; ++i)
            out[6 + 6 * win + i] = out[6 + 6 * win + i] + constant<T>(kShort.window[i]) * s[i];
    }
}

template <class T> [[gnu::always_inline]] inline void imdct(const T* x, T* out, int blockType) {
    if (blockType == 2)
        imdct_short(x, out);
    else
        imdct_long(x, out, blockType);
}

} // namespace

void alias_reduce_scalar(int32_t* x, int boundary) {
    for (int i = 0; i < 8; ++i) {
        const double a = x[boundary - 1 - i], b = x[boundary + i];
        x[boundary - 1 - i] = round_sat32(a * kButterflies.cs[i] - b * kButterflies.ca[i]);
        x[boundary + i] = round_sat32(b * kButterflies.cs[i] + a * kButterflies.ca[i]);
    }
}

// Butterflies 4h .. 4h + 3: the lines below the boundary in reversed lanes.
void alias_reduce_sse2(int32_t* x, int boundary) {
    using namespace simd;
    int32_t* below = x + boundary - 4;
    int32_t* above = x + boundary;
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h, below -= 4, above += 4) {
        const I32x4 a = reverse(load(below)), b = load(above);
        F64x2 na[2], nb[2];
#pragma GCC unroll 2
        for (int k = 0; k < 2; ++k) {
            const F64x2 ak = k == 0 ? to_f64_lo(a) : to_f64_hi(a);
            const F64x2 bk = k == 0 ? to_f64_lo(b) : to_f64_hi(b);
            const F64x2 cs = load(kButterflies.cs + 4 * h + 2 * k);
            const F64x2 ca = load(kButterflies.ca + 4 * h + 2 * k);
            na[k] = ak * cs - bk * ca;
            nb[k] = bk * cs + ak * ca;
        }
        store(below, reverse(round_sat(na[0], na[1])));
        store(above, round_sat(nb[0], nb[1]));
    }
}

void imdct_scalar(const int32_t* x, int32_t* z, int blockType) {
    double in[18], out[36];
    for (int k = 0; k < 18; ++k)
        in[k] = x[k];
    imdct(in, out, blockType);
    for (int i = 0; i < 36; ++i)
        z[i] = round_sat32(out[i]);
}

void imdct_pair_scalar(const int32_t* x0, const int32_t* x1, int32_t* z, int blockType) {
    int32_t z0[36], z1[36];
    imdct_scalar(x0, z0, blockType);
    imdct_scalar(x1, z1, blockType);
    for (int i = 0; i < 36; ++i) {
        z[2 * i] = z0[i];
        z[2 * i + 1] = z1[i];
    }
}

void imdct_pair_sse2(const int32_t* x0, const int32_t* x1, int32_t* z, int blockType) {
    using namespace simd;
    F64x2 in[18], out[36];
#pragma GCC unroll 9
    for (int k = 0; k < 18; k += 2) {
        const I32x4 both = interleave_lo(load_lo(x0 + k), load_lo(x1 + k));
        in[k] = to_f64_lo(both);
        in[k + 1] = to_f64_hi(both);
    }
    imdct(in, out, blockType);
#pragma GCC unroll 18
    for (int i = 0; i < 36; i += 2)
        store(z + 2 * i, round_sat(out[i], out[i + 1]));
}

void overlap_pair_scalar(const int32_t* z, int32_t* ov, int32_t* out) {
    for (int t = 0; t < 18; ++t) {
        const int32_t odd = wrap_add(z[2 * t + 1], ov[18 + t]);
        out[32 * t] = wrap_add(z[2 * t], ov[t]);
        out[32 * t + 1] = (t & 1) ? wrap_neg(odd) : odd;
        ov[t] = z[36 + 2 * t];
        ov[18 + t] = z[37 + 2 * t];
    }
}

// Two time slots at once: lanes t of the first sub-band, t of the second, then t + 1 of both.
void overlap_pair_sse2(const int32_t* z, int32_t* ov, int32_t* out) {
    using namespace simd;
    const I32x4 negate = set(0, 0, 0, -1); // the second sub-band at t + 1
#pragma GCC unroll 9
    for (int t = 0; t < 18; t += 2) {
        const I32x4 sum = load(z + 2 * t) + interleave_lo(load_lo(ov + t), load_lo(ov + 18 + t));
        const I32x4 out2 = (sum ^ negate) - negate;
        store_lo(out + 32 * t, out2);
        store_hi(out + 32 * t + 32, out2);
        const I32x4 next = even_then_odd(load(z + 36 + 2 * t));
        store_lo(ov + t, next);
        store_hi(ov + 18 + t, next);
    }
}

void hybrid_quad_scalar(const int32_t* x, int32_t* ov, int32_t* out, int blockType) {
    for (int j = 0; j < 4; ++j) {
        int32_t z[36];
        imdct_scalar(x + 18 * j, z, blockType);
        for (int t = 0; t < 18; ++t) {
            const int32_t sum = wrap_add(z[t], ov[18 * j + t]);
            out[32 * t + j] = (j & t & 1) ? wrap_neg(sum) : sum;
            ov[18 * j + t] = z[18 + t];
        }
    }
}

// Two pairs.
void hybrid_quad_sse2(const int32_t* x, int32_t* ov, int32_t* out, int blockType) {
    for (int j = 0; j < 4; j += 2) {
        int32_t z[72];
        imdct_pair_sse2(x + 18 * j, x + 18 * j + 18, z, blockType);
        overlap_pair_sse2(z, ov + 18 * j, out + j);
    }
}

#if ZEM_HAS_AVX2_KERNELS
namespace {

// Rows of four int32 values transposed: lane l of row j becomes lane j of row l.
[[gnu::always_inline]] inline void transpose(simd::I32x4& a, simd::I32x4& b, simd::I32x4& c,
                                             simd::I32x4& d) {
    using namespace simd;
    const I32x4 ab0 = interleave_lo(a, b), ab1 = interleave_hi(a, b);
    const I32x4 cd0 = interleave_lo(c, d), cd1 = interleave_hi(c, d);
    a = concat_lo(ab0, cd0);
    b = concat_hi(ab0, cd0);
    c = concat_lo(ab1, cd1);
    d = concat_hi(ab1, cd1);
}

// Values t .. t + 3 (t + 1 with pairs) of the four rows of 18 at p, one vector per value with
// the rows in the lanes; and the inverse.
template <int kCount>
[[gnu::always_inline]] inline void load_columns(const int32_t* p, int t, simd::I32x4* v) {
    using namespace simd;
    for (int j = 0; j < 4; ++j)
        v[j] = kCount == 4 ? load(p + 18 * j + t) : load_lo(p + 18 * j + t);
    transpose(v[0], v[1], v[2], v[3]);
}

template <int kCount>
[[gnu::always_inline]] inline void store_columns(int32_t* p, int t, const simd::I32x4* v) {
    using namespace simd;
    I32x4 r[4] = {v[0], v[1], kCount == 4 ? v[2] : splat(0), kCount == 4 ? v[3] : splat(0)};
    transpose(r[0], r[1], r[2], r[3]);
    for (int j = 0; j < 4; ++j) {
        if (kCount == 4)
            store(p + 18 * j + t, r[j]);
        else
            store_lo(p + 18 * j + t, r[j]);
    }
}

} // namespace

// Butterflies 4h .. 4h + 3 in the four lanes, the lines below the boundary in reversed lanes.
ZEM_AVX2 void alias_reduce_avx2(int32_t* x, int boundary) {
    using namespace simd;
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h) {
        int32_t* below = x + boundary - 4 - 4 * h;
        int32_t* above = x + boundary + 4 * h;
        const F64x4 a = to_f64x4(reverse(load(below))), b = to_f64x4(load(above));
        const F64x4 cs = load4(kButterflies.cs + 4 * h), ca = load4(kButterflies.ca + 4 * h);
        store(below, reverse(round_sat(a * cs - b * ca)));
        store(above, round_sat(b * cs + a * ca));
    }
}

// Time slots t .. t + kCount - 1 of the four sub-bands: the rounded transform plus the overlap
// into the output rows, the second half's values into the overlap.
template <int kCount>
[[gnu::always_inline]] ZEM_AVX2 inline void overlap_slots(const simd::F64x4* y, int32_t* ov,
                                                          int32_t* out, int t) {
    using namespace simd;
    const I32x4 odd = set(0, -1, 0, -1); // frequency inversion in odd time slots
    I32x4 previous[4], next[4];
    load_columns<kCount>(ov, t, previous);
#pragma GCC unroll 4
    for (int k = 0; k < kCount; ++k) {
        const I32x4 sum = round_sat(y[t + k]) + previous[k];
        store(out + 32 * (t + k), (t + k) & 1 ? negate_where(sum, odd) : sum);
        next[k] = round_sat(y[18 + t + k]);
    }
    store_columns<kCount>(ov, t, next);
}

// The four sub-bands in the lanes: lines gathered by transposition, the transform in four lanes,
// then each time slot's four outputs side by side, as the output rows hold them.
ZEM_AVX2 void hybrid_quad_avx2(const int32_t* x, int32_t* ov, int32_t* out, int blockType) {
    using namespace simd;
    F64x4 in[18], y[36];
    I32x4 c[20];
#pragma GCC unroll 4
    for (int k = 0; k < 16; k += 4)
        load_columns<4>(x, k, c + k);
    load_columns<2>(x, 16, c + 16);
#pragma GCC unroll 18
    for (int k = 0; k < 18; ++k)
        in[k] = to_f64x4(c[k]);
    imdct(in, y, blockType);
#pragma GCC unroll 4
    for (int t = 0; t < 16; t += 4)
        overlap_slots<4>(y, ov, out, t);
    overlap_slots<2>(y, ov, out, 16);
}
#endif

const HybridKernels& hybrid_kernels() { return ZEM_CHOSEN_KERNELS(kHybridSse2, kHybridAvx2); }

} // namespace zem::mp3
