// The windowing passes of the floating-point QMF banks. Every sum runs over its terms in the same
// order in both versions (term 0 first), so the SSE2 version reproduces the scalar one to the bit.
#include "core/cpu.hpp"
#include "core/simd.hpp"
#include "core/simd_avx2.hpp"
#include "sbr/qmf_float.hpp"
#include "sbr/qmf_line.hpp"

namespace zem::sbr {
namespace {

// The write position and every block offset are multiples of the block length (32 in the
// analysis line, M in the synthesis line), so no block straddles the line's end.

void fold_scalar(const float* delay, int32_t index, const float* window, float* u) {
    for (int32_t h = 0; h < 64; h += 32) {
        const float* x0 = delay + wrap_line(index + h, 320);
        for (int32_t n = 0; n < 32; ++n)
            u[h + n] = window[h + n] * x0[n];
        for (int32_t m = 1; m < 5; ++m) {
            const float* x = delay + wrap_line(index + 64 * m + h, 320);
            const float* w = window + 64 * m + h;
            for (int32_t n = 0; n < 32; ++n)
                u[h + n] += w[n] * x[n];
        }
    }
}

void output_scalar(const float* delay, int32_t index, int32_t bands, const float* window,
                   float* y) {
    const int32_t line = 20 * bands;
    const float* x0 = delay + wrap_line(index, line);
    for (int32_t n = 0; n < bands; ++n)
        y[n] = window[n] * x0[n];
    for (int32_t i = 1; i < 10; ++i) {
        const float* x = delay + wrap_line(index + output_offset(i, bands), line);
        const float* w = window + bands * i;
        for (int32_t n = 0; n < bands; ++n)
            y[n] += w[n] * x[n];
    }
}

void fold_sse2(const float* delay, int32_t index, const float* window, float* u) {
    using namespace simd;
    const float* x[5];
    for (int32_t h = 0; h < 64; h += 32) {
        for (int32_t m = 0; m < 5; ++m)
            x[m] = delay + wrap_line(index + 64 * m + h, 320);
        const float* w = window + h;
        for (int32_t n = 0; n < 32; n += 4) {
            F32x4 s = load(w + n) * load(x[0] + n);
            s = s + load(w + 64 + n) * load(x[1] + n);
            s = s + load(w + 128 + n) * load(x[2] + n);
            s = s + load(w + 192 + n) * load(x[3] + n);
            s = s + load(w + 256 + n) * load(x[4] + n);
            store(u + h + n, s);
        }
    }
}

void output_sse2(const float* delay, int32_t index, int32_t bands, const float* window, float* y) {
    using namespace simd;
    const int32_t line = 20 * bands;
    const float* x[10];
    for (int32_t i = 0; i < 10; ++i)
        x[i] = delay + wrap_line(index + output_offset(i, bands), line);
    for (int32_t n = 0; n < bands; n += 4) {
        const float* w = window + n;
        F32x4 s = load(w) * load(x[0] + n);
        for (int32_t i = 1; i < 10; ++i)
            s = s + load(w + bands * i) * load(x[i] + n);
        store(y + n, s);
    }
}

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void fold_avx2(const float* delay, int32_t index, const float* window, float* u) {
    using namespace simd;
    const float* x[5];
    for (int32_t h = 0; h < 64; h += 32) {
        for (int32_t m = 0; m < 5; ++m)
            x[m] = delay + wrap_line(index + 64 * m + h, 320);
        const float* w = window + h;
        for (int32_t n = 0; n < 32; n += 8) {
            F32x8 s = load8(w + n) * load8(x[0] + n);
            s = s + load8(w + 64 + n) * load8(x[1] + n);
            s = s + load8(w + 128 + n) * load8(x[2] + n);
            s = s + load8(w + 192 + n) * load8(x[3] + n);
            s = s + load8(w + 256 + n) * load8(x[4] + n);
            store(u + h + n, s);
        }
    }
}

ZEM_AVX2 void output_avx2(const float* delay, int32_t index, int32_t bands, const float* window,
                          float* y) {
    using namespace simd;
    const int32_t line = 20 * bands;
    const float* x[10];
    for (int32_t i = 0; i < 10; ++i)
        x[i] = delay + wrap_line(index + output_offset(i, bands), line);
    for (int32_t n = 0; n < bands; n += 8) {
        const float* w = window + n;
        F32x8 s = load8(w) * load8(x[0] + n);
        for (int32_t i = 1; i < 10; ++i)
            s = s + load8(w + bands * i) * load8(x[i] + n);
        store(y + n, s);
    }
}
#endif

} // namespace

const QmfWindowKernels kQmfWindowScalar = {fold_scalar, output_scalar};
const QmfWindowKernels kQmfWindowSse2 = {fold_sse2, output_sse2};
#if ZEM_HAS_AVX2_KERNELS
const QmfWindowKernels kQmfWindowAvx2 = {fold_avx2, output_avx2};
#endif

const QmfWindowKernels& qmf_window_kernels() {
    return ZEM_CHOSEN_KERNELS(kQmfWindowSse2, kQmfWindowAvx2);
}

} // namespace zem::sbr
