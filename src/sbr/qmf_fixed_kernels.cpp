#include "core/fixed.hpp"
#include "core/simd.hpp"
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

} // namespace

const FixedWindowKernels kFixedWindowScalar = {accumulate_scalar};
const FixedWindowKernels kFixedWindowSse2 = {accumulate_sse2};

} // namespace zem::sbr
