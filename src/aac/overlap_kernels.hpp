// Windowing and overlap-add of an only-long frame into 16-bit PCM, after the normalised inverse
// core: a scalar reference, and SSE2 and AVX2 versions with identical results.
#pragma once

#include <cstdint>

namespace zem::aac {

// X: compact IMDCT output (see mdct_core.hpp); rise/fall: the rising halves of the previous and
// the current long window (Q31); overlap: 1024 values, read and replaced; pcm: 1024 samples at
// stride dstStep (1 or 2), each (sum + 4) >> 3 saturated; with stride 2 the samples between are
// left alone.
void only_long_scalar(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                      int16_t* pcm, int dstStep);
void only_long_sse2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                    int16_t* pcm, int dstStep);

// The same in 32 bits after the plain core: out[n] = overlap[n] + hi(rise y) with every product
// taken as hi(w y) (shift 32), no rounding or saturation, wrapping.
void only_long_32_scalar(const int32_t* X, int32_t* overlap, const int32_t* rise,
                         const int32_t* fall, int32_t* out);
void only_long_32_sse2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                       int32_t* out);

// Long-term prediction's history update for an only-long frame after the normalised core, with
// every product hi(w (2 y)), 2 y wrapping: head[n] += hi(rise (2 y)) saturated (the previous
// frame's second half completed), tail[n] = hi(fall (2 y)) for the frame's second half.
void ltp_long_scalar(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                     int32_t* tail);
void ltp_long_sse2(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                   int32_t* tail);

// Windowing of an only-long frame's 2048 samples for the forward transform, in place allowed:
// x[n] = hi(w v) with v the sample, or twice it (wrapping) when `doubled`.
void window_only_long_scalar(int32_t* x, const int32_t* src, const int32_t* rise,
                             const int32_t* fall, bool doubled);
void window_only_long_sse2(int32_t* x, const int32_t* src, const int32_t* rise, const int32_t* fall,
                           bool doubled);

struct OverlapKernels {
    void (*only_long)(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                      int16_t* pcm, int dstStep);
    void (*only_long_32)(const int32_t* X, int32_t* overlap, const int32_t* rise,
                         const int32_t* fall, int32_t* out);
    void (*ltp_long)(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                     int32_t* tail);
    void (*window_only_long)(int32_t* x, const int32_t* src, const int32_t* rise,
                             const int32_t* fall, bool doubled);
};
inline constexpr OverlapKernels kOverlapScalar = {only_long_scalar, only_long_32_scalar,
                                                  ltp_long_scalar, window_only_long_scalar};
inline constexpr OverlapKernels kOverlapSse2 = {only_long_sse2, only_long_32_sse2, ltp_long_sse2,
                                                window_only_long_sse2};
#if defined(__x86_64__)
void only_long_avx2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                    int16_t* pcm, int dstStep);
void ltp_long_avx2(const int32_t* X, const int32_t* rise, const int32_t* fall, int32_t* head,
                   int32_t* tail);
void window_only_long_avx2(int32_t* x, const int32_t* src, const int32_t* rise, const int32_t* fall,
                           bool doubled);
void only_long_32_avx2(const int32_t* X, int32_t* overlap, const int32_t* rise, const int32_t* fall,
                       int32_t* out);
inline constexpr OverlapKernels kOverlapAvx2 = {only_long_avx2, only_long_32_avx2, ltp_long_avx2,
                                                window_only_long_avx2};
#endif
// The kernels this process runs (core/cpu.hpp).
const OverlapKernels& overlap_kernels();

} // namespace zem::aac
