#include "aac/overlap_kernels.hpp"

#include "core/cpu.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"

namespace zem::aac {
namespace {

int32_t windowed(int64_t w, int32_t y) { return int32_t(uint32_t(uint64_t((w * y) >> 31))); }

int16_t to_pcm(int32_t sum) { return sat16(int64_t(wrap_add(sum, 4) >> 3)); }

// a + b saturated: where a and b share a sign that the wrapped sum lost, the sum goes to the
// limit on a's side.
simd::I32x4 add_sat(simd::I32x4 a, simd::I32x4 b) {
    using namespace simd;
    const I32x4 sum = a + b, over = sar((sum ^ a) & (sum ^ b), 31);
    return sum ^ ((sum ^ (sar(a, 31) ^ splat(0x7FFFFFFF))) & over);
}
#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 simd::I32x8 add_sat(simd::I32x8 a, simd::I32x8 b) {
    using namespace simd;
    const I32x8 sum = a + b, over = sar((sum ^ a) & (sum ^ b), 31);
    return sum ^ ((sum ^ (sar(a, 31) ^ splat8(0x7FFFFFFF))) & over);
}
#endif

} // namespace

// The compact output unfolds quarter by quarter: y[n] = X[n] and y[1023 - n] = -X[n] for
// n < 512; y[1024 + n] = X[512 + n] and y[2047 - n] = X[512 + n] for n < 512.
void only_long_scalar(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                      int16_t* pcm, int dstStep) {
    for (int n = 0; n < 512; ++n)
        pcm[n * dstStep] = to_pcm(wrap_add(windowed(rise[n], X[n]), overlap[n]));
    for (int n = 512; n < 1024; ++n)
        pcm[n * dstStep] = to_pcm(wrap_add(windowed(rise[n], wrap_neg(X[1023 - n])), overlap[n]));
    for (int n = 0; n < 512; ++n)
        overlap[n] = windowed(fall[1023 - n], X[512 + n]);
    for (int n = 512; n < 1024; ++n)
        overlap[n] = windowed(fall[1023 - n], X[1535 - n]);
}

void only_long_32_scalar(const int32_t* X, int32_t* overlap, const int32_t* rise,
                         const int32_t* fall, int32_t* out) {
    for (int n = 0; n < 512; ++n)
        out[n] = wrap_add(overlap[n], mul_hi32(rise[n], X[n]));
    for (int n = 512; n < 1024; ++n)
        out[n] = wrap_add(overlap[n], mul_hi32(rise[n], wrap_neg(X[1023 - n])));
    for (int n = 0; n < 512; ++n)
        overlap[n] = mul_hi32(fall[1023 - n], X[512 + n]);
    for (int n = 512; n < 1024; ++n)
        overlap[n] = mul_hi32(fall[1023 - n], X[1535 - n]);
}

void ltp_long_scalar(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                     int32_t* tail) {
    auto doubled = [](int32_t y) { return wrap_shl(y, 1); };
    for (int n = 0; n < 512; ++n)
        head[n] = sat32(int64_t(head[n]) + mul_hi32(rise[n], doubled(X[n])));
    for (int n = 512; n < 1024; ++n)
        head[n] = sat32(int64_t(head[n]) + mul_hi32(rise[n], doubled(wrap_neg(X[1023 - n]))));
    for (int n = 0; n < 512; ++n)
        tail[n] = mul_hi32(fall[1023 - n], doubled(X[512 + n]));
    for (int n = 512; n < 1024; ++n)
        tail[n] = mul_hi32(fall[1023 - n], doubled(X[1535 - n]));
}

void ltp_long_sse2(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                   int32_t* tail) {
    using namespace simd;
    const I32x4 zero = splat(0);
    for (int n = 0; n < 1024; n += 4) {
        const I32x4 x = n < 512 ? load(X + n) : zero - reverse(load(X + 1020 - n));
        store(head + n, add_sat(load(head + n), mul_hi(load(rise + n), x + x)));
    }
    for (int n = 0; n < 1024; n += 4) {
        const I32x4 w = reverse(load(fall + 1020 - n));
        const I32x4 x = n < 512 ? load(X + 512 + n) : reverse(load(X + 1532 - n));
        store(tail + n, mul_hi(w, x + x));
    }
}

void window_only_long_scalar(int32_t* x, const int32_t* src, const int32_t* rise,
                             const int32_t* fall, bool doubled) {
    const int s = doubled ? 1 : 0;
    for (int n = 0; n < 1024; ++n)
        x[n] = mul_hi32(rise[n], wrap_shl(src[n], s));
    for (int n = 0; n < 1024; ++n)
        x[1024 + n] = mul_hi32(fall[1023 - n], wrap_shl(src[1024 + n], s));
}

void window_only_long_sse2(int32_t* x, const int32_t* src, const int32_t* rise, const int32_t* fall,
                           bool doubled) {
    using namespace simd;
    const int s = doubled ? 1 : 0;
    for (int n = 0; n < 1024; n += 4)
        store(x + n, mul_hi(load(rise + n), shl(load(src + n), s)));
    for (int n = 0; n < 1024; n += 4)
        store(x + 1024 + n, mul_hi(reverse(load(fall + 1020 - n)), shl(load(src + 1024 + n), s)));
}

void only_long_32_sse2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                       int32_t* out) {
    using namespace simd;
    const I32x4 zero = splat(0);
    for (int n = 0; n < 1024; n += 4) {
        const I32x4 x = n < 512 ? load(X + n) : zero - reverse(load(X + 1020 - n));
        store(out + n, load(overlap + n) + mul_hi(load(rise + n), x));
    }
    for (int n = 0; n < 1024; n += 4) {
        const I32x4 w = reverse(load(fall + 1020 - n));
        const I32x4 x = n < 512 ? load(X + 512 + n) : reverse(load(X + 1532 - n));
        store(overlap + n, mul_hi(w, x));
    }
}

void only_long_sse2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                    int16_t* pcm, int dstStep) {
    using namespace simd;
    const I32x4 zero = splat(0), round = splat(4);
    for (int n = 0; n < 1024; n += 8) {
        I32x4 y[2];
        for (int h = 0; h < 2; ++h) {
            const int m = n + 4 * h;
            const I32x4 x = m < 512 ? load(X + m) : zero - reverse(load(X + 1020 - m));
            y[h] = sar(mul_shr31(load(rise + m), x) + load(overlap + m) + round, 3);
        }
        if (dstStep == 1)
            store_sat16(pcm + n, y[0], y[1]);
        else
            store_sat16_stride2(pcm + 2 * n, y[0], y[1]);
    }
    for (int n = 0; n < 1024; n += 4) {
        const I32x4 w = reverse(load(fall + 1020 - n));
        const I32x4 x = n < 512 ? load(X + 512 + n) : reverse(load(X + 1532 - n));
        store(overlap + n, mul_shr31(w, x));
    }
}

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void only_long_avx2(const int32_t* X, int32_t* overlap, const int32_t* rise,
                             const int32_t* fall, int16_t* pcm, int dstStep) {
    using namespace simd;
    const I32x8 zero = splat8(0), round = splat8(4);
    for (int n = 0; n < 1024; n += 16) {
        I32x8 y[2];
        for (int h = 0; h < 2; ++h) {
            const int m = n + 8 * h;
            const I32x8 x = m < 512 ? load8(X + m) : zero - reverse(load8(X + 1016 - m));
            y[h] = sar(mul_shr31(load8(rise + m), x) + load8(overlap + m) + round, 3);
        }
        if (dstStep == 1) {
            store_sat16(pcm + n, y[0], y[1]);
        } else {
            simd::store_sat16_stride2(pcm + 2 * n, low_half(y[0]), high_half(y[0]));
            simd::store_sat16_stride2(pcm + 2 * n + 16, low_half(y[1]), high_half(y[1]));
        }
    }
    for (int n = 0; n < 1024; n += 8) {
        const I32x8 w = reverse(load8(fall + 1016 - n));
        const I32x8 x = n < 512 ? load8(X + 512 + n) : reverse(load8(X + 1528 - n));
        store(overlap + n, mul_shr31(w, x));
    }
}
#endif

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void only_long_32_avx2(const int32_t* X, int32_t* overlap, const int32_t* rise,
                                const int32_t* fall, int32_t* out) {
    using namespace simd;
    const I32x8 zero = splat8(0);
    for (int n = 0; n < 1024; n += 8) {
        const I32x8 x = n < 512 ? load8(X + n) : zero - reverse(load8(X + 1016 - n));
        store(out + n, load8(overlap + n) + mul_hi(load8(rise + n), x));
    }
    for (int n = 0; n < 1024; n += 8) {
        const I32x8 w = reverse(load8(fall + 1016 - n));
        const I32x8 x = n < 512 ? load8(X + 512 + n) : reverse(load8(X + 1528 - n));
        store(overlap + n, mul_hi(w, x));
    }
}

ZEM_AVX2 void ltp_long_avx2(const int32_t* X, const int32_t* rise, const int32_t* fall,
                            int32_t* head, int32_t* tail) {
    using namespace simd;
    const I32x8 zero = splat8(0);
    for (int n = 0; n < 1024; n += 8) {
        const I32x8 x = n < 512 ? load8(X + n) : zero - reverse(load8(X + 1016 - n));
        store(head + n, add_sat(load8(head + n), mul_hi(load8(rise + n), x + x)));
    }
    for (int n = 0; n < 1024; n += 8) {
        const I32x8 w = reverse(load8(fall + 1016 - n));
        const I32x8 x = n < 512 ? load8(X + 512 + n) : reverse(load8(X + 1528 - n));
        store(tail + n, mul_hi(w, x + x));
    }
}
#endif

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void window_only_long_avx2(int32_t* x, const int32_t* src, const int32_t* rise,
                                    const int32_t* fall, bool doubled) {
    using namespace simd;
    const int s = doubled ? 1 : 0;
    for (int n = 0; n < 1024; n += 8)
        store(x + n, mul_hi(load8(rise + n), shl(load8(src + n), s)));
    for (int n = 0; n < 1024; n += 8)
        store(x + 1024 + n, mul_hi(reverse(load8(fall + 1016 - n)), shl(load8(src + 1024 + n), s)));
}
#endif

const OverlapKernels& overlap_kernels() { return ZEM_CHOSEN_KERNELS(kOverlapSse2, kOverlapAvx2); }

} // namespace zem::aac
