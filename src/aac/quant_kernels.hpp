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

// small[0..16) for exponent e and quarter step r (small[0] is 0), built the way the same set's
// dequantise_small reads it fastest.
void small_magnitudes_scalar(int32_t* small, int e, int r);

struct QuantKernels {
    int (*dequantise_small)(int32_t* x, int count, const int32_t* small);
    void (*small_magnitudes)(int32_t* small, int e, int r);
};
inline constexpr QuantKernels kQuantScalar = {dequantise_small_scalar, small_magnitudes_scalar};
inline constexpr QuantKernels kQuantSse2 = {dequantise_small_sse2, small_magnitudes_scalar};
#if defined(__x86_64__)
int dequantise_small_avx2(int32_t* x, int count, const int32_t* small);
void small_magnitudes_avx2(int32_t* small, int e, int r);
inline constexpr QuantKernels kQuantAvx2 = {dequantise_small_avx2, small_magnitudes_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const QuantKernels& quant_kernels();

} // namespace zem::aac
