// Windowing of the Layer III polyphase synthesis: 32 output sums from the DCT values of the
// 16 history slots, each term the signed upper half of a 64-bit product with the Q30 window.
// A scalar reference, and SSE2 and AVX2 versions with identical results.
#pragma once

#include <cstdint>

#include "mp3/matrixing.hpp"

namespace zem::mp3 {

// v: 16 slots of 32 DCT values; pos: the current slot; sum: the 32 wrapping 32-bit sums.
void polyphase_window_scalar(const int32_t* v, int pos, int32_t* sum);
void polyphase_window_sse2(const int32_t* v, int pos, int32_t* sum);

// The 32 sums to samples, (sum + 64) >> 7 with wrapping addition, saturated to 16 bits, at
// out[stride j] (stride 1 or 2; the samples between are neither read nor written).
void polyphase_pcm_scalar(const int32_t* sum, int16_t* out, int stride);
void polyphase_pcm_sse2(const int32_t* sum, int16_t* out, int stride);

// The polyphase synthesis kernels (matrixing, windowing, samples) side by side.
struct PolyphaseKernels {
    void (*dct32)(const int32_t* s, int32_t* a);
    void (*window)(const int32_t* v, int pos, int32_t* sum);
    void (*pcm)(const int32_t* sum, int16_t* out, int stride);
};
inline constexpr PolyphaseKernels kPolyphaseScalar = {dct32_scalar, polyphase_window_scalar,
                                                      polyphase_pcm_scalar};
inline constexpr PolyphaseKernels kPolyphaseSse2 = {dct32_sse2, polyphase_window_sse2,
                                                    polyphase_pcm_sse2};
#if defined(__x86_64__)
// The AVX2 matrixing, windowing and samples (x86-64).
void polyphase_window_avx2(const int32_t* v, int pos, int32_t* sum);
void polyphase_pcm_avx2(const int32_t* sum, int16_t* out, int stride);
inline constexpr PolyphaseKernels kPolyphaseAvx2 = {dct32_avx2, polyphase_window_avx2,
                                                    polyphase_pcm_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const PolyphaseKernels& polyphase_kernels();

} // namespace zem::mp3
