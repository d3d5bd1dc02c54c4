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

#if ZEM_HAS_AVX2_KERNELS
ZEM_AVX2 void accumulate_avx2(int32_t* acc, const int32_t* w, const int32_t* x, int32_t n) {
    int32_t i = 0;
    for (; i + 8 <= n; i += 8)
        simd::store(acc + i,
                    simd::load8(acc + i) + simd::mul_hi(simd::load8(w + i), simd::load8(x + i)));
    accumulate_sse2(acc + i, w + i, x + i, n - i);
}
#endif

} // namespace

const FixedWindowKernels kFixedWindowScalar = {accumulate_scalar};
const FixedWindowKernels kFixedWindowSse2 = {accumulate_sse2};
#if ZEM_HAS_AVX2_KERNELS
const FixedWindowKernels kFixedWindowAvx2 = {accumulate_avx2};
#endif

const FixedWindowKernels& fixed_window_kernels() {
    return ZEM_CHOSEN_KERNELS(kFixedWindowSse2, kFixedWindowAvx2);
}

} // namespace zem::sbr
