#include "tools/dts_kernels.hpp"

#include "core/simd.hpp"
#include "transform/twiddle.hpp"

namespace zem::dts {
namespace {

// The DCT-IV of 32 values as a 16-point complex FFT: z_m = (X_2m + i X_{31-2m}) e^(-i pi (4m +
// 1)/128) before it; w_n = Z_n e^(-i pi n/32) after it gives C_2n = Re w_n and C_{31-2n} = -Im w_n,
// so a_n = (Re w_n + Im w_n)/sqrt(2) = Re Z_n cos(pi n/32 + pi/4) + Im Z_n sin(pi n/32 + pi/4) and
// b_n = (Re w_n - Im w_n)/sqrt(2) = Re Z_n sin(pi n/32 + pi/4) - Im Z_n cos(pi n/32 + pi/4).
struct Rotations {
    float preCos[16], preSin[16];   // pi (4m + 1)/128
    float postCos[16], postSin[16]; // pi n/32 + pi/4
};
constexpr Rotations make_rotations() {
    Rotations r{};
    for (int m = 0; m < 16; ++m) {
        const CosSin pre = cos_sin_constexpr(4 * m + 1, 256);
        r.preCos[m] = float(pre.c);
        r.preSin[m] = float(pre.s);
        const CosSin post = cos_sin_constexpr(4 * m + 32, 256);
        r.postCos[m] = float(post.c);
        r.postSin[m] = float(post.s);
    }
    return r;
}
constexpr Rotations kRot = make_rotations();

void fold_scalar(const float* x, float* slot, const ZemFftSpec& fft, float* z) {
    for (int m = 0; m < 16; ++m) {
        const float even = x[2 * m], odd = x[31 - 2 * m];
        z[2 * m] = even * kRot.preCos[m] + odd * kRot.preSin[m];
        z[2 * m + 1] = odd * kRot.preCos[m] - even * kRot.preSin[m];
    }
    kFftScalar.forward(z, z, nullptr, fft);
    for (int n = 0; n < 16; ++n) {
        const float re = z[2 * n], im = z[2 * n + 1];
        slot[n] = re * kRot.postCos[n] + im * kRot.postSin[n];
        slot[16 + n] = re * kRot.postSin[n] - im * kRot.postCos[n];
    }
}

void window_scalar(const float* history, int newest, const SlotWindow& w, float* y) {
    for (int e = 0; e < 16; ++e) {
        float even = 0.0f, odd = 0.0f;
        for (int g = 0; g < kSlots; ++g) {
            const float v = history[32 * ((newest - g) & (kSlots - 1)) + (g & 1) * 16 + e];
            even = even + w.even[g][e] * v;
            odd = odd + w.odd[g][e] * v;
        }
        y[2 * e] = even;
        y[31 - 2 * e] = odd;
    }
}

using simd::F32x4;

void fold_sse2(const float* x, float* slot, const ZemFftSpec& fft, float* z) {
    for (int j = 0; j < 4; ++j) {
        const F32x4 even =
            simd::shuffle<0, 2, 0, 2>(simd::load(x + 8 * j), simd::load(x + 8 * j + 4));
        const F32x4 odd = simd::reverse(
            simd::shuffle<1, 3, 1, 3>(simd::load(x + 24 - 8 * j), simd::load(x + 28 - 8 * j)));
        const F32x4 c = simd::load(kRot.preCos + 4 * j), s = simd::load(kRot.preSin + 4 * j);
        const F32x4 re = even * c + odd * s, im = odd * c - even * s;
        simd::store(z + 8 * j, simd::interleave_lo(re, im));
        simd::store(z + 8 * j + 4, simd::interleave_hi(re, im));
    }
    kFftSse2.forward(z, z, nullptr, fft);
    for (int j = 0; j < 4; ++j) {
        const F32x4 lo = simd::load(z + 8 * j), hi = simd::load(z + 8 * j + 4);
        const F32x4 re = simd::shuffle<0, 2, 0, 2>(lo, hi), im = simd::shuffle<1, 3, 1, 3>(lo, hi);
        const F32x4 c = simd::load(kRot.postCos + 4 * j), s = simd::load(kRot.postSin + 4 * j);
        simd::store(slot + 4 * j, re * c + im * s);
        simd::store(slot + 16 + 4 * j, re * s - im * c);
    }
}

void window_sse2(const float* history, int newest, const SlotWindow& w, float* y) {
    F32x4 even[4], odd[4];
    for (int j = 0; j < 4; ++j)
        even[j] = odd[j] = simd::splat(0.0f);
    for (int g = 0; g < kSlots; ++g) {
        const float* v = history + 32 * ((newest - g) & (kSlots - 1)) + (g & 1) * 16;
        for (int j = 0; j < 4; ++j) {
            const F32x4 x = simd::load(v + 4 * j);
            even[j] = even[j] + simd::load(w.even[g] + 4 * j) * x;
            odd[j] = odd[j] + simd::load(w.odd[g] + 4 * j) * x;
        }
    }
    // y[2e] = even[e], y[2e + 1] = odd[15 - e].
    for (int j = 0; j < 4; ++j) {
        const F32x4 mirrored = simd::reverse(odd[3 - j]);
        simd::store(y + 8 * j, simd::interleave_lo(even[j], mirrored));
        simd::store(y + 8 * j + 4, simd::interleave_hi(even[j], mirrored));
    }
}

} // namespace

const DtsKernels kDtsScalar = {fold_scalar, window_scalar};
const DtsKernels kDtsSse2 = {fold_sse2, window_sse2};

} // namespace zem::dts
