// The 256-bit twin of simd.hpp for the AVX2 kernels of x86-64: eight int32 lanes and four
// signed 64-bit products at a time. Every function here carries the avx2 target, so only
// kernels that carry it too (ZEM_AVX2) may call them, and only after cpu.hpp chose them.
#pragma once

#include "core/simd.hpp"

#if defined(__x86_64__)
#define ZEM_HAS_AVX2_KERNELS 1
#include <immintrin.h>

#define ZEM_AVX2 __attribute__((target("avx2")))

namespace zem::simd {

struct I32x8 {
    __m256i v;
};
// Four signed 64-bit lanes (exact sums of 32 x 32-bit products).
struct I64x4 {
    __m256i v;
};

ZEM_AVX2 inline I32x8 load8(const int32_t* p) {
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
ZEM_AVX2 inline void store(int32_t* p, I32x8 a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.v);
}
// Clears the upper halves of the vector registers. A kernel that hands its tail to SSE2 code
// calls it first: the compiler does not for a call in tail position, and SSE2 instructions after
// 256-bit ones with the upper halves left dirty run several times slower on some processors.
ZEM_AVX2 inline void clear_upper_halves() { _mm256_zeroupper(); }
ZEM_AVX2 inline I32x8 splat8(int32_t x) { return {_mm256_set1_epi32(x)}; }
ZEM_AVX2 inline I32x8 operator+(I32x8 a, I32x8 b) { return {_mm256_add_epi32(a.v, b.v)}; }
ZEM_AVX2 inline I32x8 operator-(I32x8 a, I32x8 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
ZEM_AVX2 inline I32x8 operator&(I32x8 a, I32x8 b) { return {_mm256_and_si256(a.v, b.v)}; }
ZEM_AVX2 inline I32x8 sar(I32x8 a, int s) { return {_mm256_srai_epi32(a.v, s)}; }
ZEM_AVX2 inline I32x8 shl(I32x8 a, int s) { return {_mm256_slli_epi32(a.v, s)}; }
// Shifts by a count known only at run time (0 to 31).
ZEM_AVX2 inline I32x8 shl_by(I32x8 a, int s) {
    return {_mm256_sll_epi32(a.v, _mm_cvtsi32_si128(s))};
}
ZEM_AVX2 inline I32x8 sar_by(I32x8 a, int s) {
    return {_mm256_sra_epi32(a.v, _mm_cvtsi32_si128(s))};
}
ZEM_AVX2 inline I32x8 abs(I32x8 a) { return {_mm256_abs_epi32(a.v)}; }
ZEM_AVX2 inline I32x8 operator^(I32x8 a, I32x8 b) { return {_mm256_xor_si256(a.v, b.v)}; }
ZEM_AVX2 inline I32x8 set8(int32_t l0, int32_t l1, int32_t l2, int32_t l3, int32_t l4, int32_t l5,
                           int32_t l6, int32_t l7) {
    return {_mm256_setr_epi32(l0, l1, l2, l3, l4, l5, l6, l7)};
}
// Lanes negated (wrapping) where the mask lane is -1, kept where it is 0.
ZEM_AVX2 inline I32x8 negate_where(I32x8 a, I32x8 mask) { return (a ^ mask) - mask; }
// Neighbouring lanes exchanged: the real and imaginary parts of four complex values.
ZEM_AVX2 inline I32x8 swap_pairs(I32x8 a) {
    return {_mm256_shuffle_epi32(a.v, _MM_SHUFFLE(2, 3, 0, 1))};
}
// base[index[i]] for the lanes where lanes[i] is -1, 0 elsewhere (those are not read).
ZEM_AVX2 inline I32x4 gather(const int32_t* base, I32x4 index, I32x4 lanes) {
    return {_mm_mask_i32gather_epi32(_mm_setzero_si128(), base, index.v, lanes.v, 4)};
}
// Lanes in reverse order.
ZEM_AVX2 inline I32x8 reverse(I32x8 a) {
    return {_mm256_permutevar8x32_epi32(a.v, _mm256_set_epi32(0, 1, 2, 3, 4, 5, 6, 7))};
}
// The four pairs of lanes (complex values) in reverse order, each pair kept.
ZEM_AVX2 inline I32x8 reverse_pairs(I32x8 a) { return {_mm256_permute4x64_epi64(a.v, 0x1B)}; }
// Lanes 1, 3, 5, 7 moved to 0, 2, 4, 6 (the odd words as multiplicands of mul_even).
ZEM_AVX2 inline I32x8 odd_words(I32x8 a) { return {_mm256_srli_epi64(a.v, 32)}; }
// Four int32 values sign-extended into the 64-bit lanes (as multiplicands of mul_even).
ZEM_AVX2 inline I32x8 widen(I32x4 a) { return {_mm256_cvtepi32_epi64(a.v)}; }
ZEM_AVX2 inline I32x8 widen(const int32_t* p) {
    return widen(I32x4{_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))});
}

// Signed products of lanes 0, 2, 4 and 6, exact in 64 bits.
ZEM_AVX2 inline I64x4 mul_even(I32x8 a, I32x8 b) { return {_mm256_mul_epi32(a.v, b.v)}; }
ZEM_AVX2 inline I64x4 operator+(I64x4 a, I64x4 b) { return {_mm256_add_epi64(a.v, b.v)}; }
ZEM_AVX2 inline I64x4 operator-(I64x4 a, I64x4 b) { return {_mm256_sub_epi64(a.v, b.v)}; }
ZEM_AVX2 inline I64x4 zero64x4() { return {_mm256_setzero_si256()}; }
ZEM_AVX2 inline I64x4 splat64x4(int64_t x) { return {_mm256_set1_epi64x(x)}; }
// a0 w0 + a1 w1, ..., a6 w6 + a7 w7, the products signed, in the four lanes modulo 2^64.
ZEM_AVX2 inline I64x4 dot_pairs(I32x8 a, I32x8 w) {
    return mul_even(a, w) + mul_even(odd_words(a), odd_words(w));
}
// The upper words of re and im interleaved: hi(re0), hi(im0), ..., hi(re3), hi(im3).
ZEM_AVX2 inline I32x8 high_words(I64x4 re, I64x4 im) {
    return {_mm256_blend_epi32(_mm256_srli_epi64(re.v, 32), im.v, 0xAA)};
}
// The low words of a >> s (0 <= s <= 63; a logical shift, which for s <= 32 gives the low words
// of the arithmetic one).
ZEM_AVX2 inline I64x4 shr(I64x4 a, int s) { return {_mm256_srl_epi64(a.v, _mm_cvtsi32_si128(s))}; }
// Low words of a and b interleaved: lo(a0), lo(b0), ..., lo(a3), lo(b3).
ZEM_AVX2 inline I32x8 low_words(I64x4 a, I64x4 b) {
    return {_mm256_blend_epi32(a.v, _mm256_slli_epi64(b.v, 32), 0xAA)};
}
// Low 32 bits of (w * y) >> 31 per lane, the 64-bit product exact.
ZEM_AVX2 inline I32x8 mul_shr31(I32x8 w, I32x8 y) {
    const __m256i even = _mm256_srli_epi64(_mm256_mul_epi32(w.v, y.v), 31);
    const __m256i odd = _mm256_mul_epi32(_mm256_srli_epi64(w.v, 32), _mm256_srli_epi64(y.v, 32));
    return {_mm256_blend_epi32(even, _mm256_slli_epi64(odd, 1), 0xAA)};
}
// Sixteen int16 values from a then b, each lane saturated, in lane order.
ZEM_AVX2 inline void store_sat16(int16_t* p, I32x8 a, I32x8 b) {
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packs_epi32(a.v, b.v), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), packed);
}
// Four int32 values in lanes 0-3, lanes 4-7 cleared.
ZEM_AVX2 inline I32x8 zero_extend(I32x4 a) { return {_mm256_zextsi128_si256(a.v)}; }
// The two 128-bit halves.
ZEM_AVX2 inline I32x4 low_half(I32x8 a) { return {_mm256_castsi256_si128(a.v)}; }
ZEM_AVX2 inline I32x4 high_half(I32x8 a) { return {_mm256_extracti128_si256(a.v, 1)}; }
// Sum of the four 64-bit lanes.
ZEM_AVX2 inline int64_t sum(I64x4 a) {
    const __m128i s = _mm_add_epi64(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1));
    return _mm_cvtsi128_si64(_mm_add_epi64(s, _mm_unpackhi_epi64(s, s)));
}
// The even and odd lanes of a widened to 64 bits as unsigned values (lanes below 2^32).
ZEM_AVX2 inline I64x4 even_u64(I32x8 a) {
    return {_mm256_and_si256(a.v, _mm256_set1_epi64x(0xFFFFFFFF))};
}
ZEM_AVX2 inline I64x4 odd_u64(I32x8 a) { return {_mm256_srli_epi64(a.v, 32)}; }

// High 32 bits of the signed 64-bit products per lane (the even lanes' products directly, the
// odd lanes' after moving them down).
ZEM_AVX2 inline I32x8 mul_hi(I32x8 a, I32x8 b) {
    const __m256i even = _mm256_srli_epi64(_mm256_mul_epi32(a.v, b.v), 32);
    const __m256i odd = _mm256_mul_epi32(_mm256_srli_epi64(a.v, 32), _mm256_srli_epi64(b.v, 32));
    const __m256i high = _mm256_set1_epi64x(int64_t(0xFFFFFFFF00000000ull));
    return {_mm256_or_si256(even, _mm256_and_si256(odd, high))};
}

// All ones in the lanes where a > b (signed); a mask of the lanes' sign bits, lane 0 in bit 0.
ZEM_AVX2 inline I32x8 greater(I32x8 a, I32x8 b) { return {_mm256_cmpgt_epi32(a.v, b.v)}; }
ZEM_AVX2 inline I32x8 operator|(I32x8 a, I32x8 b) { return {_mm256_or_si256(a.v, b.v)}; }
ZEM_AVX2 inline int sign_mask(I32x8 a) { return _mm256_movemask_ps(_mm256_castsi256_ps(a.v)); }
// a where the mask lane is all ones, b where it is 0.
ZEM_AVX2 inline I32x8 select(I32x8 mask, I32x8 a, I32x8 b) {
    return {_mm256_blendv_epi8(b.v, a.v, mask.v)};
}
// table[index & 7] per lane, from the eight values of one register.
ZEM_AVX2 inline I32x8 lookup8(I32x8 table, I32x8 index) {
    return {_mm256_permutevar8x32_epi32(table.v, index.v)};
}
// base[index] per lane.
ZEM_AVX2 inline I32x8 gather8(const int32_t* base, I32x8 index) {
    return {_mm256_i32gather_epi32(base, index.v, 4)};
}
// Unsigned products of lanes 0, 2, 4 and 6, exact in 64 bits.
ZEM_AVX2 inline I64x4 mul_even_u32(I32x8 a, I32x8 b) { return {_mm256_mul_epu32(a.v, b.v)}; }
// a negated where s is negative, 0 where s is 0, a where s is positive.
ZEM_AVX2 inline I32x8 sign_of(I32x8 a, I32x8 s) { return {_mm256_sign_epi32(a.v, s.v)}; }

// Eight float lanes: plain products and sums (no fused multiply-add), so that a sum over the
// same terms in the same order equals the SSE2 and scalar ones.
struct F32x8 {
    __m256 v;
};
ZEM_AVX2 inline F32x8 load8(const float* p) { return {_mm256_loadu_ps(p)}; }
ZEM_AVX2 inline void store(float* p, F32x8 a) { _mm256_storeu_ps(p, a.v); }
ZEM_AVX2 inline F32x8 operator+(F32x8 a, F32x8 b) { return {_mm256_add_ps(a.v, b.v)}; }
ZEM_AVX2 inline F32x8 operator*(F32x8 a, F32x8 b) { return {_mm256_mul_ps(a.v, b.v)}; }

// Four doubles: plain products and sums, so that the same operations in the same order give the
// bits of the scalar and two-lane kernels.
struct F64x4 {
    __m256d v;
};
ZEM_AVX2 inline F64x4 load4(const double* p) { return {_mm256_loadu_pd(p)}; }
// Four int32 values as doubles (exact).
ZEM_AVX2 inline F64x4 to_f64x4(I32x4 a) { return {_mm256_cvtepi32_pd(a.v)}; }
ZEM_AVX2 inline F64x4 operator+(F64x4 a, F64x4 b) { return {_mm256_add_pd(a.v, b.v)}; }
ZEM_AVX2 inline F64x4 operator-(F64x4 a, F64x4 b) { return {_mm256_sub_pd(a.v, b.v)}; }
ZEM_AVX2 inline F64x4 operator*(F64x4 a, F64x4 b) { return {_mm256_mul_pd(a.v, b.v)}; }
template <> ZEM_AVX2 inline F64x4 constant<F64x4>(double c) { return {_mm256_set1_pd(c)}; }
// Lanes in reverse order.
ZEM_AVX2 inline F64x4 reverse(F64x4 a) { return {_mm256_permute4x64_pd(a.v, 0x1B)}; }
// Lanes chosen by index (each 0-3), listed from lane 0 up.
template <int L0, int L1, int L2, int L3> ZEM_AVX2 inline F64x4 shuffle(F64x4 a) {
    return {_mm256_permute4x64_pd(a.v, L0 | L1 << 2 | L2 << 4 | L3 << 6)};
}
// Lanes kept where the template flag is 1 and cleared where it is 0, listed from lane 0 up.
template <int K0, int K1, int K2, int K3> ZEM_AVX2 inline F64x4 keep(F64x4 a) {
    return {_mm256_blend_pd(_mm256_setzero_pd(), a.v, K0 | K1 << 1 | K2 << 2 | K3 << 3)};
}
// Lane 3 of a and lane 2 of b in lanes 2 and 3, lanes 0 and 1 cleared.
ZEM_AVX2 inline F64x4 upper_pair_across(F64x4 a, F64x4 b) {
    return keep<0, 0, 1, 1>(F64x4{_mm256_shuffle_pd(a.v, b.v, 0b0100)});
}
// The 4 x 4 matrix of rows a, b, c, d transposed in place (lane i of the rows becomes row i).
ZEM_AVX2 inline void transpose(F64x4& a, F64x4& b, F64x4& c, F64x4& d) {
    const __m256d ab0 = _mm256_unpacklo_pd(a.v, b.v), ab1 = _mm256_unpackhi_pd(a.v, b.v);
    const __m256d cd0 = _mm256_unpacklo_pd(c.v, d.v), cd1 = _mm256_unpackhi_pd(c.v, d.v);
    a.v = _mm256_permute2f128_pd(ab0, cd0, 0x20);
    b.v = _mm256_permute2f128_pd(ab1, cd1, 0x20);
    c.v = _mm256_permute2f128_pd(ab0, cd0, 0x31);
    d.v = _mm256_permute2f128_pd(ab1, cd1, 0x31);
}
// The lanes rounded to the nearest integer (ties to even) and saturated to the int32 range, as
// round_sat of simd.hpp does it.
ZEM_AVX2 inline I32x4 round_sat(F64x4 a) {
    return {_mm256_cvtpd_epi32(_mm256_min_pd(a.v, _mm256_set1_pd(2147483647.0)))};
}

} // namespace zem::simd

#endif
