// IMDCT, Layer III hybrid: alias reduction and windowed inverse transforms of Layer III
// sub-bands, 18 lines (Q26) to 36 values (Q24), computed in double precision and rounded to the
// nearest integer. A scalar reference for one sub-band, an SSE2 version for two sub-bands of the
// same block type at once and an AVX2 one for four, with identical results. Apart from the other
// (I)MDCTs (listed in transform/mdct.hpp) because 18 and 6 lines have no power-of-two FFT and the
// standard's double precision fixes the rounding; its cosines come from transform/twiddle.hpp like
// their twiddles.
#pragma once

#include <cstdint>

namespace zem::mp3 {

// x: 18 lines; z: 36 values; blockType 0..3 (2: three short transforms).
void imdct_scalar(const int32_t* x, int32_t* z, int blockType);
// x0, x1: two sub-bands' lines; z: 72 values, z[2 i] of the first and z[2 i + 1] of the second.
void imdct_pair_scalar(const int32_t* x0, const int32_t* x1, int32_t* z, int blockType);
void imdct_pair_sse2(const int32_t* x0, const int32_t* x1, int32_t* z, int blockType);

// Overlap-add of a pair of sub-bands from imdct_pair_sse2's interleaved output z (72 values):
// out[32 t] = z[2 t] + ov[t] and out[32 t + 1] = z[2 t + 1] + ov[18 + t], the latter negated in
// odd time slots t (frequency inversion of the odd sub-band), all wrapping; ov[t] and ov[18 + t]
// then take z[36 + 2 t] and z[37 + 2 t].
void overlap_pair_scalar(const int32_t* z, int32_t* ov, int32_t* out);
void overlap_pair_sse2(const int32_t* z, int32_t* ov, int32_t* out);

// Alias-reduction butterflies in place across the sub-band boundary at line `boundary`
// (8 <= boundary <= 568): the 8 lines below it against the 8 above, rounded to integers.
void alias_reduce_scalar(int32_t* x, int boundary);
void alias_reduce_sse2(int32_t* x, int boundary);

// Four sub-bands of one block type, their 18 lines each at x[18 j ..], transformed and
// overlap-added: out[32 t + j] = z_j[t] + ov[18 j + t], negated for odd j in odd time slots t
// (frequency inversion), all wrapping; ov[18 j + t] then takes z_j[18 + t].
void hybrid_quad_scalar(const int32_t* x, int32_t* ov, int32_t* out, int blockType);
void hybrid_quad_sse2(const int32_t* x, int32_t* ov, int32_t* out, int blockType);

// The hybrid synthesis kernels side by side, for the callers, the tests and the benchmarks.
struct HybridKernels {
    void (*alias_reduce)(int32_t* x, int boundary);
    void (*imdct_pair)(const int32_t* x0, const int32_t* x1, int32_t* z, int blockType);
    void (*overlap_pair)(const int32_t* z, int32_t* ov, int32_t* out);
    void (*quad)(const int32_t* x, int32_t* ov, int32_t* out, int blockType);
};
inline constexpr HybridKernels kHybridScalar = {alias_reduce_scalar, imdct_pair_scalar,
                                                overlap_pair_scalar, hybrid_quad_scalar};
inline constexpr HybridKernels kHybridSse2 = {alias_reduce_sse2, imdct_pair_sse2, overlap_pair_sse2,
                                              hybrid_quad_sse2};
#if defined(__x86_64__)
// The AVX2 alias reduction and quadruple transform (x86-64) with the SSE2 pair kernels.
void alias_reduce_avx2(int32_t* x, int boundary);
void hybrid_quad_avx2(const int32_t* x, int32_t* ov, int32_t* out, int blockType);
inline constexpr HybridKernels kHybridAvx2 = {alias_reduce_avx2, imdct_pair_sse2, overlap_pair_sse2,
                                              hybrid_quad_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const HybridKernels& hybrid_kernels();

} // namespace zem::mp3
