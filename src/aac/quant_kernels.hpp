// The inner loop of inverse quantisation: magnitudes below 16 (nearly all of them) replaced by
// the band's table entry with their sign kept. A scalar reference, and SSE2 and AVX2 versions
// with identical results.
#pragma once

#include <cstdint>

namespace zem::aac {

// y = sign(x) small[|x|] for x[0..count) up to the first value with |x| >= 16, which is left
// alone with everything after it; returns its position (count when there is none).
int dequantise_small_scalar(int32_t* x, int count, const int32_t* small);
int dequantise_small_sse2(int32_t* x, int count, const int32_t* small);

struct QuantKernels {
    int (*dequantise_small)(int32_t* x, int count, const int32_t* small);
};
inline constexpr QuantKernels kQuantScalar = {dequantise_small_scalar};
inline constexpr QuantKernels kQuantSse2 = {dequantise_small_sse2};
#if defined(__x86_64__)
int dequantise_small_avx2(int32_t* x, int count, const int32_t* small);
inline constexpr QuantKernels kQuantAvx2 = {dequantise_small_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const QuantKernels& quant_kernels();

} // namespace zem::aac
