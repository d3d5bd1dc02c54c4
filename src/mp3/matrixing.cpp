#include "mp3/matrixing.hpp"

#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"

namespace zem::mp3 {
namespace {

using simd::constant;

// Lee's recursive DCT-II: even outputs from the sums of mirrored inputs, odd ones from their
// differences scaled by 1 / (2 cos(pi (2i + 1) / (2n))), held at index n / 2 + i for
// n = 2, 4, ..., 32.
struct LeeScales {
    double v[32];
};

constexpr LeeScales make_lee_scales() {
    LeeScales t{};
    for (int n = 2; n <= 32; n *= 2)
        for (int i = 0; i < n / 2; ++i)
            t.v[n / 2 + i] = 1.0 / (2.0 * cmath::cos(cmath::kPi * (2 * i + 1) / (2.0 * n)));
    return t;
}

constexpr LeeScales kLee = make_lee_scales();

// Written once for double, simd::F64x2 and simd::F64x4 (two or four transforms in the lanes).
template <int N, class T> [[gnu::always_inline]] inline void dct_lee(const T* x, T* out) {
    if constexpr (N == 1) {
        out[0] = x[0];
    } else {
        constexpr int kHalf = N / 2;
        T u[kHalf], v[kHalf], a[kHalf], b[kHalf];
        // The loops here and in the kernels unrolled, so that the values stay in registers.
#pragma GCC unroll 16
        for (int i = 0; i < kHalf; ++i) {
            u[i] = x[i] + x[N - 1 - i];
            v[i] = (x[i] - x[N - 1 - i]) * constant<T>(kLee.v[kHalf + i]);
        }
        dct_lee<kHalf>(u, a);
        dct_lee<kHalf>(v, b);
#pragma GCC unroll 16
        for (int k = 0; k < kHalf; ++k) {
            out[2 * k] = a[k];
            out[2 * k + 1] = b[k] + (k + 1 < kHalf ? b[k + 1] : constant<T>(0.0));
        }
    }
}

} // namespace

void dct32_scalar(const int32_t* s, int32_t* a) {
    double u[16], v[16], even[16], odd[16];
    for (int i = 0; i < 16; ++i) {
        const double x = s[i], y = s[31 - i];
        u[i] = x + y;
        v[i] = (x - y) * kLee.v[16 + i];
    }
    dct_lee<16>(u, even);
    dct_lee<16>(v, odd);
    for (int k = 0; k < 16; ++k) {
        a[2 * k] = round_sat32(even[k]);
        a[2 * k + 1] = round_sat32(odd[k] + (k < 15 ? odd[k + 1] : 0.0));
    }
}

// The first stage's sums and differences go to the two lanes, so that both 16-point halves
// run at once: (x + y, (x - y) c) from x = s[i] and y = s[31 - i].
void dct32_sse2(const int32_t* s, int32_t* a) {
    using namespace simd;
    F64x2 w[16], out[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; i += 4) {
        const I32x4 lo = load(s + i), hi = reverse(load(s + 28 - i));
        const F64x2 x[2] = {to_f64_lo(lo), to_f64_hi(lo)}, y[2] = {to_f64_lo(hi), to_f64_hi(hi)};
#pragma GCC unroll 16
        for (int j = 0; j < 2; ++j) {
            const F64x2 sum = x[j] + y[j];
            const F64x2 diff = (x[j] - y[j]) * load(kLee.v + 16 + i + 2 * j);
            w[i + 2 * j] = unpack_lo(sum, diff);
            w[i + 2 * j + 1] = unpack_hi(sum, diff);
        }
    }
    dct_lee<16>(w, out);
    // (even[k], odd[k] + odd[k + 1]) are outputs 2k and 2k + 1.
    F64x2 r[16];
#pragma GCC unroll 16
    for (int k = 0; k < 16; ++k)
        r[k] = out[k] + (k < 15 ? keep_lane1(out[k + 1]) : constant<F64x2>(0.0));
#pragma GCC unroll 16
    for (int k = 0; k < 16; k += 2)
        store(a + 2 * k, round_sat(r[k], r[k + 1]));
}

#if ZEM_HAS_AVX2_KERNELS
// Four lanes: the first two stages in natural order (u, v and then the sums and differences of
// their halves, four indices a vector), transposed so that the four 8-point transforms run in
// the lanes (u', u'', v', v'' at index i), then combined back as the recursion does.
ZEM_AVX2 void dct32_avx2(const int32_t* s, int32_t* a) {
    using namespace simd;
    F64x4 u[4], v[4];
#pragma GCC unroll 16
    for (int q = 0; q < 4; ++q) {
        const F64x4 x = to_f64x4(load(s + 4 * q)), y = reverse(to_f64x4(load(s + 28 - 4 * q)));
        u[q] = x + y;
        v[q] = (x - y) * load4(kLee.v + 16 + 4 * q);
    }
    // w[4h + l] = (u'[4h + l], u''[4h + l], v'[4h + l], v''[4h + l]).
    F64x4 w[8], out[8];
#pragma GCC unroll 16
    for (int h = 0; h < 2; ++h) {
        const F64x4 c = load4(kLee.v + 8 + 4 * h);
        const F64x4 uHigh = reverse(u[3 - h]), vHigh = reverse(v[3 - h]);
        w[4 * h] = u[h] + uHigh;
        w[4 * h + 1] = (u[h] - uHigh) * c;
        w[4 * h + 2] = v[h] + vHigh;
        w[4 * h + 3] = (v[h] - vHigh) * c;
        transpose(w[4 * h], w[4 * h + 1], w[4 * h + 2], w[4 * h + 3]);
    }
    dct_lee<8>(w, out);
    // r[k] = (even[2k], even[2k + 1], odd[2k], odd[2k + 1]) of the 16-point halves.
    F64x4 r[8];
#pragma GCC unroll 16
    for (int k = 0; k < 8; ++k) {
        r[k] = k < 7 ? out[k] + keep<0, 1, 0, 1>(out[k + 1]) : out[k];
    }
    // Outputs 4k .. 4k + 3: even[2k], odd[2k] + odd[2k + 1], even[2k + 1] and
    // odd[2k + 1] + odd[2k + 2].
#pragma GCC unroll 16
    for (int k = 0; k < 8; ++k) {
        const F64x4 sums = r[k] + upper_pair_across(r[k], k < 7 ? r[k + 1] : constant<F64x4>(0.0));
        store(a + 4 * k, round_sat(shuffle<0, 2, 1, 3>(sums)));
    }
}
#endif

} // namespace zem::mp3
