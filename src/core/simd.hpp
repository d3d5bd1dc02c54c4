// Thin wrapper over the SSE2 operations the kernels use: four int32 lanes, four floats, two
// doubles. The only place of the library that names intrinsics.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <type_traits>

namespace zem::simd {

struct I32x4 {
    __m128i v;
};

inline I32x4 load(const int32_t* p) {
    return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
}
inline void store(int32_t* p, I32x4 a) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v); }
// Lanes 0 and 1, or 2 and 3, to p[0] and p[1].
inline void store_lo(int32_t* p, I32x4 a) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), a.v); }
inline void store_hi(int32_t* p, I32x4 a) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_unpackhi_epi64(a.v, a.v));
}
inline I32x4 splat(int32_t x) { return {_mm_set1_epi32(x)}; }
// A mask of the lanes' sign bits, lane 0 in bit 0.
inline int sign_mask(I32x4 a) { return _mm_movemask_ps(_mm_castsi128_ps(a.v)); }
// All ones in the lanes where a > b (signed).
inline I32x4 greater(I32x4 a, I32x4 b) { return {_mm_cmpgt_epi32(a.v, b.v)}; }
inline I32x4 operator|(I32x4 a, I32x4 b) { return {_mm_or_si128(a.v, b.v)}; }
inline I32x4 operator+(I32x4 a, I32x4 b) { return {_mm_add_epi32(a.v, b.v)}; } // wraps
inline I32x4 operator-(I32x4 a, I32x4 b) { return {_mm_sub_epi32(a.v, b.v)}; } // wraps
inline I32x4 operator&(I32x4 a, I32x4 b) { return {_mm_and_si128(a.v, b.v)}; }
inline I32x4 operator^(I32x4 a, I32x4 b) { return {_mm_xor_si128(a.v, b.v)}; }
inline I32x4 shl(I32x4 a, int s) { return {_mm_slli_epi32(a.v, s)}; }
inline I32x4 sar(I32x4 a, int s) { return {_mm_srai_epi32(a.v, s)}; }
inline I32x4 set(int32_t l0, int32_t l1, int32_t l2, int32_t l3) {
    return {_mm_set_epi32(l3, l2, l1, l0)};
}
// Lanes negated (wrapping) where the mask lane is -1, kept where it is 0.
inline I32x4 negate_where(I32x4 a, I32x4 mask) { return (a ^ mask) - mask; }
// Neighbouring lanes exchanged: 1, 0, 3, 2 (the real and imaginary parts of two complex values).
inline I32x4 swap_pairs(I32x4 a) { return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(2, 3, 0, 1))}; }
// True when every lane is 0.
inline bool all_zero(I32x4 a) {
    return _mm_movemask_epi8(_mm_cmpeq_epi32(a.v, _mm_setzero_si128())) == 0xFFFF;
}
// Lanes in reverse order.
inline I32x4 reverse(I32x4 a) { return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(0, 1, 2, 3))}; }
// Lanes 0, 2, 1, 3.
inline I32x4 even_then_odd(I32x4 a) { return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(3, 1, 2, 0))}; }
// Lanes moved up by one, lane 0 cleared.
inline I32x4 shift_up(I32x4 a) { return {_mm_slli_si128(a.v, 4)}; }
// Lanes moved down by one, lane 3 cleared.
inline I32x4 shift_down(I32x4 a) { return {_mm_srli_si128(a.v, 4)}; }

// Lanes chosen by index (each 0-3), listed from lane 0 up: shuffle<3, 2, 3, 2>(a) is a3 a2 a3 a2.
template <int L0, int L1, int L2, int L3> inline I32x4 shuffle(I32x4 a) {
    return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(L3, L2, L1, L0))};
}
// Lanes 0 and 1 of a, then lanes 0 and 1 of b; the same with lanes 2 and 3.
inline I32x4 concat_lo(I32x4 a, I32x4 b) { return {_mm_unpacklo_epi64(a.v, b.v)}; }
inline I32x4 concat_hi(I32x4 a, I32x4 b) { return {_mm_unpackhi_epi64(a.v, b.v)}; }

// Two unsigned 64-bit lanes (sums of products that must not wrap at 32 bits).
struct U64x2 {
    __m128i v;
};
inline U64x2 zero64() { return {_mm_setzero_si128()}; }
inline U64x2 operator+(U64x2 a, U64x2 b) { return {_mm_add_epi64(a.v, b.v)}; }
inline U64x2 operator-(U64x2 a, U64x2 b) { return {_mm_sub_epi64(a.v, b.v)}; }
// Lanes 0 and 2, or 1 and 3, widened without sign to the two 64-bit lanes.
inline U64x2 even_u64(I32x4 a) { return {_mm_and_si128(a.v, _mm_set_epi32(0, -1, 0, -1))}; }
inline U64x2 odd_u64(I32x4 a) { return {_mm_srli_epi64(a.v, 32)}; }
// The two lanes added (modulo 2^64).
inline uint64_t sum(U64x2 a) {
    uint64_t lanes[2];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), a.v);
    return lanes[0] + lanes[1];
}
inline U64x2 shr(U64x2 a, int s) { return {_mm_srli_epi64(a.v, s)}; }
// The same by a count known only at run time (0 to 63).
inline U64x2 shr_by(U64x2 a, int s) { return {_mm_srl_epi64(a.v, _mm_cvtsi32_si128(s))}; }
// Unsigned products of lanes 0 and 2 of a and b, exact in 64 bits.
inline U64x2 mul_even_u32(I32x4 a, I32x4 b) { return {_mm_mul_epu32(a.v, b.v)}; }
// Lanes 1 and 3 moved to lanes 0 and 2 (for mul_even_u32; lanes 1 and 3 keep them too). A
// shuffle rather than a shift, so that the source stays and needs no copy.
inline I32x4 odd_lanes(I32x4 a) { return {_mm_shuffle_epi32(a.v, _MM_SHUFFLE(3, 3, 1, 1))}; }
// The unsigned 64-bit products of lanes 0 and 2, as words: low 0, high 0, low 2, high 2.
// Summed with the 32-bit addition, the high words add up modulo 2^32 without carries from below.
inline I32x4 mul_even_u32_words(I32x4 a, I32x4 b) { return {_mm_mul_epu32(a.v, b.v)}; }
// The high words of two such product vectors: even1, odd1, even3, odd3.
inline I32x4 high_words(I32x4 even, I32x4 odd) {
    return {_mm_or_si128(_mm_srli_epi64(even.v, 32),
                         _mm_and_si128(odd.v, _mm_set_epi32(-1, 0, -1, 0)))};
}
// The low words of the 64-bit lanes: even0, odd0, even1, odd1.
inline I32x4 low_words(U64x2 even, U64x2 odd) {
    return {_mm_or_si128(_mm_and_si128(even.v, _mm_set_epi32(0, -1, 0, -1)),
                         _mm_slli_epi64(odd.v, 32))};
}

// The upper words of the 64-bit lanes of a and b: a0, b0, a1, b1.
inline I32x4 high_words(U64x2 a, U64x2 b) {
    return {_mm_or_si128(_mm_srli_epi64(a.v, 32), _mm_and_si128(b.v, _mm_set_epi32(-1, 0, -1, 0)))};
}

// The same 64-bit value in both lanes.
inline U64x2 splat64(int64_t x) { return {_mm_set1_epi64x(x)}; }
// a0 w0 + a1 w1 and a2 w2 + a3 w3, the products signed, in the two lanes modulo 2^64: the
// unsigned products, less w where a is negative and a where w is negative in the upper words.
inline U64x2 dot_pairs(I32x4 a, I32x4 w) {
    const __m128i even = _mm_mul_epu32(a.v, w.v);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a.v, 32), _mm_srli_epi64(w.v, 32));
    const __m128i fix = ((sar(a, 31) & w) + (sar(w, 31) & a)).v;
    const __m128i high = _mm_set_epi32(-1, 0, -1, 0);
    const __m128i fixes = _mm_add_epi32(_mm_slli_epi64(fix, 32), _mm_and_si128(fix, high));
    return {_mm_sub_epi64(_mm_add_epi64(even, odd), fixes)};
}
// |a| per lane; INT32_MIN stays, which read as unsigned is 2^31.
inline I32x4 abs(I32x4 a) { return negate_where(a, sar(a, 31)); }
// Lanes shifted by a count known only at run time (0 to 31).
inline I32x4 shl_by(I32x4 a, int s) { return {_mm_sll_epi32(a.v, _mm_cvtsi32_si128(s))}; }
inline I32x4 sar_by(I32x4 a, int s) { return {_mm_sra_epi32(a.v, _mm_cvtsi32_si128(s))}; }

// Signed upper 32 bits of the 64-bit products a * b per lane: the unsigned products corrected
// by b where a is negative and by a where b is negative.
inline I32x4 mul_hi(I32x4 a, I32x4 b) {
    const __m128i even = _mm_srli_epi64(_mm_mul_epu32(a.v, b.v), 32);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a.v, 32), _mm_srli_epi64(b.v, 32));
    const __m128i high = _mm_set_epi32(-1, 0, -1, 0);
    const I32x4 u{_mm_or_si128(even, _mm_and_si128(odd, high))};
    return u - (sar(a, 31) & b) - (sar(b, 31) & a);
}

// Low 32 bits of (w * y) >> 31 per lane, the 64-bit product exact, for 0 <= w < 2^31 and any
// signed y: the upper word of 2w * y, where 2w still fits an unsigned lane. The unsigned
// product reads a negative y as y + 2^32, which adds 2w to the upper word.
inline I32x4 mul_shr31(I32x4 w, I32x4 y) {
    const __m128i w2 = _mm_slli_epi32(w.v, 1);
    const __m128i even = _mm_srli_epi64(_mm_mul_epu32(w2, y.v), 32);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(w2, 32), _mm_srli_epi64(y.v, 32));
    const I32x4 r{_mm_or_si128(even, _mm_and_si128(odd, _mm_set_epi32(-1, 0, -1, 0)))};
    return r - (sar(y, 31) & I32x4{w2});
}

// Low 32 bits of (v * c) >> s per lane for a 16-bit c and 0 <= s <= 16, the product exact: with
// v = vh 2^16 + vl (vl unsigned), v c = vh c 2^16 + vl c, and both partial products fit 32 bits.
// vl c comes from the unsigned high words, less vl where c is negative.
inline I32x4 mul16_shr(I32x4 v, int16_t c, int s) {
    const __m128i cc = _mm_set1_epi16(c), low16 = _mm_set1_epi32(0xFFFF);
    const __m128i lo = _mm_mullo_epi16(v.v, cc);
    const __m128i hiLow = _mm_sub_epi16(_mm_mulhi_epu16(v.v, cc),
                                        c < 0 ? _mm_and_si128(v.v, low16) : _mm_setzero_si128());
    const __m128i vlc = _mm_or_si128(_mm_slli_epi32(hiLow, 16), _mm_and_si128(lo, low16));
    const __m128i vhc =
        _mm_or_si128(_mm_andnot_si128(low16, _mm_mulhi_epi16(v.v, cc)), _mm_srli_epi32(lo, 16));
    return {_mm_add_epi32(_mm_slli_epi32(vhc, 16 - s), _mm_srai_epi32(vlc, s))};
}

// Eight int16 values as the lanes' 16-bit halves (lane 0's low half first).
inline I32x4 load_words(const int16_t* p) {
    return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
}
inline void store_words(int16_t* p, I32x4 a) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v);
}
// The 16-bit halves of a and b alternating: a0 b0 a1 b1 ... from the low four (zip_lo16) or the
// high four (zip_hi16) of each.
inline I32x4 zip_lo16(I32x4 a, I32x4 b) { return {_mm_unpacklo_epi16(a.v, b.v)}; }
inline I32x4 zip_hi16(I32x4 a, I32x4 b) { return {_mm_unpackhi_epi16(a.v, b.v)}; }
// The low (widen_lo16) or high four 16-bit values of a, sign-extended to 32-bit lanes.
inline I32x4 widen_lo16(I32x4 a) { return {_mm_srai_epi32(_mm_unpacklo_epi16(a.v, a.v), 16)}; }
inline I32x4 widen_hi16(I32x4 a) { return {_mm_srai_epi32(_mm_unpackhi_epi16(a.v, a.v), 16)}; }
// Eight 16-bit lanes added, wrapping.
inline I32x4 add16(I32x4 a, I32x4 b) { return {_mm_add_epi16(a.v, b.v)}; }
// Products of the eight 16-bit values of a and b, adjacent pairs summed into the four lanes.
inline I32x4 madd16(I32x4 a, I32x4 b) { return {_mm_madd_epi16(a.v, b.v)}; }
// The even (low) and odd (high) 16-bit halves of a then b, eight values each.
inline I32x4 even_words(I32x4 a, I32x4 b) {
    return {_mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(a.v, 16), 16),
                            _mm_srai_epi32(_mm_slli_epi32(b.v, 16), 16))};
}
inline I32x4 odd_words(I32x4 a, I32x4 b) {
    return {_mm_packs_epi32(_mm_srai_epi32(a.v, 16), _mm_srai_epi32(b.v, 16))};
}

// Eight int16 values: a then b, each lane saturated.
inline void store_sat16(int16_t* p, I32x4 a, I32x4 b) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(a.v, b.v));
}

// The same eight values at every second element (p[0], p[2], ..., p[14]); the elements between
// are neither read nor written, so another channel may fill them at the same time. The values
// leave the vector four (x86-64) or two at a time through a general register, cheaper than one
// word extraction each.
inline void store_sat16_stride2(int16_t* p, I32x4 a, I32x4 b) {
    const __m128i v = _mm_packs_epi32(a.v, b.v);
#if defined(__x86_64__)
    for (int h = 0; h < 2; ++h) {
        const uint64_t w = uint64_t(_mm_cvtsi128_si64(h == 0 ? v : _mm_unpackhi_epi64(v, v)));
        for (int k = 0; k < 4; ++k)
            p[8 * h + 2 * k] = int16_t(uint16_t(w >> (16 * k)));
    }
#else
    __m128i rest = v;
    for (int h = 0; h < 4; ++h, rest = _mm_srli_si128(rest, 4)) {
        const uint32_t w = uint32_t(_mm_cvtsi128_si32(rest));
        p[4 * h] = int16_t(uint16_t(w));
        p[4 * h + 2] = int16_t(uint16_t(w >> 16));
    }
#endif
}

// Four floats.
struct F32x4 {
    __m128 v;
};

inline F32x4 load(const float* p) { return {_mm_loadu_ps(p)}; }
inline void store(float* p, F32x4 a) { _mm_storeu_ps(p, a.v); }
// The same at a 16-byte aligned address (an operand the arithmetic can read from memory).
inline F32x4 load_aligned(const float* p) { return {_mm_load_ps(p)}; }
inline void store_aligned(float* p, F32x4 a) { _mm_store_ps(p, a.v); }
// Two complex values from two places: p[0], p[1], q[0], q[1].
inline F32x4 load_pairs(const float* p, const float* q) {
    return {_mm_loadh_pi(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(p))),
                         reinterpret_cast<const __m64*>(q))};
}
// One complex value in both halves: p[0], p[1], p[0], p[1].
inline F32x4 load_pair_twice(const float* p) {
    return {_mm_castpd_ps(_mm_load1_pd(reinterpret_cast<const double*>(p)))};
}
inline F32x4 splat(float x) { return {_mm_set1_ps(x)}; }
inline F32x4 set(float l0, float l1, float l2, float l3) { return {_mm_set_ps(l3, l2, l1, l0)}; }
inline F32x4 operator+(F32x4 a, F32x4 b) { return {_mm_add_ps(a.v, b.v)}; }
inline F32x4 operator-(F32x4 a, F32x4 b) { return {_mm_sub_ps(a.v, b.v)}; }
inline F32x4 operator*(F32x4 a, F32x4 b) { return {_mm_mul_ps(a.v, b.v)}; }
// Bitwise: with -0.0f lanes, a sign flip of those lanes.
inline F32x4 operator^(F32x4 a, F32x4 b) { return {_mm_xor_ps(a.v, b.v)}; }
inline F32x4 operator-(F32x4 a) { return a ^ splat(-0.0f); }
// Lanes chosen by index: a's lanes L0 and L1, then b's lanes L2 and L3.
template <int L0, int L1, int L2, int L3> inline F32x4 shuffle(F32x4 a, F32x4 b) {
    return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(L3, L2, L1, L0))};
}
template <int L0, int L1, int L2, int L3> inline F32x4 shuffle(F32x4 a) {
    return shuffle<L0, L1, L2, L3>(a, a);
}
// Neighbouring lanes exchanged: 1, 0, 3, 2 ((re, im) to (im, re) in two complex values). The
// integer shuffle writes a fresh register, which saves the copy that the float shuffle,
// overwriting its source, would need.
inline F32x4 swap_pairs(F32x4 a) {
    return {_mm_castsi128_ps(_mm_shuffle_epi32(_mm_castps_si128(a.v), _MM_SHUFFLE(2, 3, 0, 1)))};
}
// Lanes in reverse order.
inline F32x4 reverse(F32x4 a) { return shuffle<3, 2, 1, 0>(a); }
// Lanes 0 and 1 of a, then lanes 0 and 1 of b; the same with lanes 2 and 3.
inline F32x4 concat_lo(F32x4 a, F32x4 b) { return {_mm_movelh_ps(a.v, b.v)}; }
inline F32x4 concat_hi(F32x4 a, F32x4 b) { return {_mm_movehl_ps(b.v, a.v)}; }
// a0, b0, a1, b1 and a2, b2, a3, b3.
inline F32x4 interleave_lo(F32x4 a, F32x4 b) { return {_mm_unpacklo_ps(a.v, b.v)}; }
inline F32x4 interleave_hi(F32x4 a, F32x4 b) { return {_mm_unpackhi_ps(a.v, b.v)}; }

// The processor's estimate of 1/sqrt(x) (about 12 bits; the exact value depends on the CPU).
// |a| per lane; the processor's reciprocal-square-root estimates (about 12 bits); v where a > b
// and 0 elsewhere.
inline F32x4 abs(F32x4 a) { return {_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)}; }
inline F32x4 rsqrt_estimate(F32x4 a) { return {_mm_rsqrt_ps(a.v)}; }
// The same 128 bits read as the other type.
inline I32x4 as_int(F32x4 a) { return {_mm_castps_si128(a.v)}; }
inline F32x4 as_float(I32x4 a) { return {_mm_castsi128_ps(a.v)}; }
inline F32x4 where_greater(F32x4 v, F32x4 a, F32x4 b) {
    return {_mm_and_ps(v.v, _mm_cmpgt_ps(a.v, b.v))};
}
// Lanes converted to float (exactly up to 2^24), and floats rounded to the nearest integer with
// ties to even (the default rounding mode; out of range gives INT32_MIN).
inline F32x4 to_float(I32x4 a) { return {_mm_cvtepi32_ps(a.v)}; }
inline I32x4 round_to_int(F32x4 a) { return {_mm_cvtps_epi32(a.v)}; }
// Floats truncated toward zero (out of range gives INT32_MIN); lane square roots; a bit per lane
// where a > b (lane 0 in bit 0).
inline I32x4 truncate_to_int(F32x4 a) { return {_mm_cvttps_epi32(a.v)}; }
inline F32x4 sqrt(F32x4 a) { return {_mm_sqrt_ps(a.v)}; }
inline int greater_mask(F32x4 a, F32x4 b) { return _mm_movemask_ps(_mm_cmpgt_ps(a.v, b.v)); }
// All ones where a <= b (never for NaN); a where mask is set, b elsewhere.
inline I32x4 mask_less_equal(F32x4 a, F32x4 b) {
    return {_mm_castps_si128(_mm_cmple_ps(a.v, b.v))};
}
inline I32x4 blend(I32x4 mask, I32x4 a, I32x4 b) {
    return {_mm_or_si128(_mm_and_si128(mask.v, a.v), _mm_andnot_si128(mask.v, b.v))};
}
inline float rsqrt_estimate(float x) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(x))); }
// A hint to fetch the cache line at p without keeping it in the outer caches.
inline void prefetch_once(const void* p) {
    _mm_prefetch(static_cast<const char*>(p), _MM_HINT_NTA);
}

// Two doubles.
struct F64x2 {
    __m128d v;
};

inline F64x2 load(const double* p) { return {_mm_loadu_pd(p)}; }
inline void store(double* p, F64x2 a) { _mm_storeu_pd(p, a.v); }
inline F64x2 load_aligned(const double* p) { return {_mm_load_pd(p)}; }
inline void store_aligned(double* p, F64x2 a) { _mm_store_pd(p, a.v); }
inline F64x2 splat(double x) { return {_mm_set1_pd(x)}; }
inline F64x2 operator+(F64x2 a, F64x2 b) { return {_mm_add_pd(a.v, b.v)}; }
inline F64x2 operator-(F64x2 a, F64x2 b) { return {_mm_sub_pd(a.v, b.v)}; }
inline F64x2 operator*(F64x2 a, F64x2 b) { return {_mm_mul_pd(a.v, b.v)}; }
inline F64x2 operator^(F64x2 a, F64x2 b) { return {_mm_xor_pd(a.v, b.v)}; }
// Lane 0 cleared.
inline F64x2 keep_lane1(F64x2 a) {
    return {_mm_and_pd(a.v, _mm_castsi128_pd(_mm_set_epi32(-1, -1, 0, 0)))};
}
// Lanes exchanged.
inline F64x2 swap(F64x2 a) { return {_mm_shuffle_pd(a.v, a.v, 1)}; }
inline F64x2 set(double lane0, double lane1) { return {_mm_set_pd(lane1, lane0)}; }
// Lanes 0 of a and b, and lanes 1 of a and b.
inline F64x2 unpack_lo(F64x2 a, F64x2 b) { return {_mm_unpacklo_pd(a.v, b.v)}; }
inline F64x2 unpack_hi(F64x2 a, F64x2 b) { return {_mm_unpackhi_pd(a.v, b.v)}; }

// A constant as a double or in both lanes of an F64x2, for kernels written once for a scalar
// reference and its two-lane twin: the same operations in the same order give the same bits.
template <class T> inline T constant(double c) {
    if constexpr (std::is_same_v<T, double>)
        return c;
    else
        return splat(c);
}

// Lanes 0 and 1, or 2 and 3, of four int32 values as doubles (exact).
inline F64x2 to_f64_lo(I32x4 a) { return {_mm_cvtepi32_pd(a.v)}; }
inline F64x2 to_f64_hi(I32x4 a) { return {_mm_cvtepi32_pd(_mm_srli_si128(a.v, 8))}; }
// Interleaved lanes of the low halves: a0, b0, a1, b1.
inline I32x4 interleave_lo(I32x4 a, I32x4 b) { return {_mm_unpacklo_epi32(a.v, b.v)}; }
// Interleaved lanes of the high halves: a2, b2, a3, b3.
inline I32x4 interleave_hi(I32x4 a, I32x4 b) { return {_mm_unpackhi_epi32(a.v, b.v)}; }
// Two int32 values.
inline I32x4 load_lo(const int32_t* p) {
    return {_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))};
}

// a0, a1, b0, b1 rounded to the nearest integer (ties to even, the default rounding mode) and
// saturated to the int32 range. Only the top needs a clamp: below the range the conversion gives
// its "integer indefinite" value 0x80000000, which is the lower bound.
inline I32x4 round_sat(F64x2 a, F64x2 b) {
    const __m128d hi = _mm_set1_pd(2147483647.0);
    const __m128i ia = _mm_cvtpd_epi32(_mm_min_pd(a.v, hi));
    const __m128i ib = _mm_cvtpd_epi32(_mm_min_pd(b.v, hi));
    return {_mm_unpacklo_epi64(ia, ib)};
}

} // namespace zem::simd
