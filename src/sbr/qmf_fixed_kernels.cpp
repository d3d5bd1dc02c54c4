#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "sbr/qmf_fixed.hpp"

namespace zem::sbr {
namespace {

void accumulate_scalar(int32_t* acc, const int32_t* w, const int32_t* x, int32_t n) {
    for (int32_t i = 0; i < n; ++i)
        acc[i] = wrap_add(acc[i], mul_hi32(w[i], x[i]));
}

void accumulate_sse2(int32_t* acc, const int32_t* w, const int32_t* x, int32_t n) {
    int32_t i = 0;
    for (; i + 4 <= n; i += 4)
        simd::store(acc + i,
                    simd::load(acc + i) + simd::mul_hi(simd::load(w + i), simd::load(x + i)));
    accumulate_scalar(acc + i, w + i, x + i, n - i);
}

// Lanes `from` to n of sum_blocks, one at a time.
void sum_blocks_scalar_from(int32_t* acc, const int32_t* const* w, const int32_t* const* x,
                            int32_t blocks, int32_t from, int32_t n) {
    for (int32_t i = from; i < n; ++i) {
        int32_t s = 0;
        for (int32_t b = 0; b < blocks; ++b)
            s = wrap_add(s, mul_hi32(w[b][i], x[b][i]));
        acc[i] = s;
    }
}

void sum_blocks_scalar(int32_t* acc, const int32_t* const* w, const int32_t* const* x,
                       int32_t blocks, int32_t n) {
    sum_blocks_scalar_from(acc, w, x, blocks, 0, n);
}

// Lanes `from` to n in fours, then one at a time.
void sum_blocks_sse2_from(int32_t* acc, const int32_t* const* w, const int32_t* const* x,
                          int32_t blocks, int32_t from, int32_t n) {
    int32_t i = from;
    for (; i + 4 <= n; i += 4) {
        simd::I32x4 s = simd::splat(0);
        for (int32_t b = 0; b < blocks; ++b)
            s = s + simd::mul_hi(simd::load(w[b] + i), simd::load(x[b] + i));
        simd::store(acc + i, s);
    }
    sum_blocks_scalar_from(acc, w, x, blocks, i, n);
}

void sum_blocks_sse2(int32_t* acc, const int32_t* const* w, const int32_t* const* x, int32_t blocks,
                     int32_t n) {
    sum_blocks_sse2_from(acc, w, x, blocks, 0, n);
}

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void sum_blocks_avx2(int32_t* acc, const int32_t* const* w, const int32_t* const* x,
                              int32_t blocks, int32_t n) {
    int32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        simd::I32x8 s = simd::splat8(0);
        for (int32_t b = 0; b < blocks; ++b)
            s = s + simd::mul_hi(simd::load8(w[b] + i), simd::load8(x[b] + i));
        simd::store(acc + i, s);
    }
    simd::clear_upper_halves();
    sum_blocks_sse2_from(acc, w, x, blocks, i, n);
}

ZEM_AVX2 void accumulate_avx2(int32_t* acc, const int32_t* w, const int32_t* x, int32_t n) {
    int32_t i = 0;
    for (; i + 8 <= n; i += 8)
        simd::store(acc + i,
                    simd::load8(acc + i) + simd::mul_hi(simd::load8(w + i), simd::load8(x + i)));
    simd::clear_upper_halves();
    accumulate_sse2(acc + i, w + i, x + i, n - i);
}
#endif

void rotate_scalar(int32_t* out, const int32_t* in, const int32_t* pq, const int32_t* rt, int32_t n,
                   int shift) {
    const int64_t half = int64_t(1) << (shift - 1);
    for (int32_t i = 0; i < n; ++i) {
        const int64_t a = in[2 * i], b = in[2 * i + 1];
        out[2 * i] =
            int32_t(uint32_t(uint64_t((a * pq[2 * i] + b * pq[2 * i + 1] + half) >> shift)));
        out[2 * i + 1] =
            int32_t(uint32_t(uint64_t((a * rt[2 * i] + b * rt[2 * i + 1] + half) >> shift)));
    }
}

void fold_scalar(int32_t* pairs, const int32_t* row) {
    for (int j = 0; j < 32; ++j) {
        pairs[2 * j] = row[4 * j];
        pairs[2 * j + 1] = row[2 * (63 - 2 * j)];
        pairs[64 + 2 * j] = row[2 * (63 - 2 * j) + 1];
        pairs[64 + 2 * j + 1] = row[4 * j + 1];
    }
}

// Two j at a time: the complex values 2j and 2j + 2 from the front, 63 - 2j and 61 - 2j from
// the back, their real parts paired one way and their imaginary parts the other.
void fold_sse2(int32_t* pairs, const int32_t* row) {
    for (int j = 0; j < 32; j += 2) {
        const simd::I32x4 front =
            simd::concat_lo(simd::load(row + 4 * j), simd::load(row + 4 * j + 4));
        const simd::I32x4 back =
            simd::concat_hi(simd::load(row + 124 - 4 * j), simd::load(row + 120 - 4 * j));
        const simd::I32x4 e = simd::even_then_odd(front), o = simd::even_then_odd(back);
        simd::store(pairs + 2 * j, simd::interleave_lo(e, o));
        simd::store(pairs + 64 + 2 * j, simd::interleave_hi(o, e));
    }
}

// The low words of the 64-bit sums shifted right are their bits from `shift` up, with zeros
// above bit 63 where shift > 32; shifting up and back sign-extends those.
void rotate_sse2(int32_t* out, const int32_t* in, const int32_t* pq, const int32_t* rt, int32_t n,
                 int shift) {
    const simd::U64x2 half = simd::splat64(int64_t(1) << (shift - 1));
    const int extra = shift > 32 ? shift - 32 : 0;
    int32_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const simd::I32x4 x = simd::load(in + 2 * i);
        const simd::U64x2 re = simd::dot_pairs(x, simd::load(pq + 2 * i)) + half;
        const simd::U64x2 im = simd::dot_pairs(x, simd::load(rt + 2 * i)) + half;
        const simd::I32x4 y = simd::low_words(simd::shr_by(re, shift), simd::shr_by(im, shift));
        simd::store(out + 2 * i, simd::sar_by(simd::shl_by(y, extra), extra));
    }
    rotate_scalar(out + 2 * i, in + 2 * i, pq + 2 * i, rt + 2 * i, n - i, shift);
}

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void rotate_avx2(int32_t* out, const int32_t* in, const int32_t* pq, const int32_t* rt,
                          int32_t n, int shift) {
    const simd::I64x4 half = simd::splat64x4(int64_t(1) << (shift - 1));
    const int extra = shift > 32 ? shift - 32 : 0;
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const simd::I32x8 x = simd::load8(in + 2 * i);
        const simd::I64x4 re = simd::dot_pairs(x, simd::load8(pq + 2 * i)) + half;
        const simd::I64x4 im = simd::dot_pairs(x, simd::load8(rt + 2 * i)) + half;
        const simd::I32x8 y = simd::low_words(simd::shr(re, shift), simd::shr(im, shift));
        simd::store(out + 2 * i, simd::sar_by(simd::shl_by(y, extra), extra));
    }
    simd::clear_upper_halves();
    rotate_sse2(out + 2 * i, in + 2 * i, pq + 2 * i, rt + 2 * i, n - i, shift);
}
#endif

} // namespace

const FixedRotationKernels kFixedRotationScalar = {rotate_scalar, fold_scalar};
const FixedRotationKernels kFixedRotationSse2 = {rotate_sse2, fold_sse2};
#if ZEM_HAS_AVX2_KERNELS
const FixedRotationKernels kFixedRotationAvx2 = {rotate_avx2, fold_sse2};
#endif

const FixedRotationKernels& fixed_rotation_kernels() {
    return ZEM_CHOSEN_KERNELS(kFixedRotationSse2, kFixedRotationAvx2);
}

const FixedWindowKernels kFixedWindowScalar = {accumulate_scalar, sum_blocks_scalar};
const FixedWindowKernels kFixedWindowSse2 = {accumulate_sse2, sum_blocks_sse2};
#if ZEM_HAS_AVX2_KERNELS
const FixedWindowKernels kFixedWindowAvx2 = {accumulate_avx2, sum_blocks_avx2};
#endif

const FixedWindowKernels& fixed_window_kernels() {
    return ZEM_CHOSEN_KERNELS(kFixedWindowSse2, kFixedWindowAvx2);
}

} // namespace zem::sbr
