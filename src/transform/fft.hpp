// FFT, complex float: length N = 2^order (order 0..28), interleaved or split data, and the
// vector scaling helper. Every floating-point filter bank of the library computes its fast
// transforms through this interface; specs are built once, read-only afterwards, and may be
// embedded in the owner's state block (the size query is part of the owners' own size formulas).
// The library's four FFTs: this one; the 16-bit one (fft16.hpp) and the 32-bit fixed-point one
// (fixed_fft.hpp), whose integer results are defined to the bit by their rounding and scaling
// and so cannot share this code; and the double-precision pair inside the DCT's chirp-z
// convolution (dct_fast.cpp), which halves the error of two single-precision transforms. All
// take their twiddles from twiddle.hpp and their vectors from core/simd.hpp.
#pragma once

#include <cstdint>

#include "zemac/core.h"

namespace zem {

enum FftScaling : int32_t {
    FftScaleFwdByN = 1,
    FftScaleInvByN = 2,
    FftScaleBySqrtN = 4,
    FftNoScale = 8,
};

enum : int32_t { kFftTagInterleaved = 4, kFftTagSplit = 5 };

constexpr int32_t kFftMaxOrder = 28;

// Header of a spec, at the caller's spec memory rounded up to 32 bytes. Orders 3..15 use one
// twiddle table of N/8 blocks of 16 floats (built in for orders 3..5, behind the header from
// order 6); orders 16..28 keep e^(-j 2 pi i / N), i < N/2, as (re, im) pairs behind the header,
// followed by a spec of order 12.
struct ZemFftSpec {
    int32_t tag;
    int32_t order;
    int32_t scaleFwd;
    int32_t scaleInv;
    float scale;
    int32_t hint;
    int32_t workSize;
    int32_t allocated;
    const float* twiddle;    // null for orders 0..5
    int32_t twiddleStrided;  // 1: the (re, im) run of the large orders
    int32_t blockOffset;     // bytes from the allocated block to the header (InitAlloc)
    const ZemFftSpec* block; // large orders: the record of their 2^12-point blocks (behind the run)
};

ZemStatus fft_get_buf_sizes(int32_t order, int32_t scalingMode, int32_t hint, int32_t* pSizeSpec,
                            int32_t* pSizeInit, int32_t* pSizeWork);
ZemStatus fft_init(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                   uint8_t* pMemSpec, uint8_t* pMemInit);
ZemStatus fft_init_split(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                         uint8_t* pMemSpec, uint8_t* pMemInit);
ZemStatus fft_init_alloc(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint);
ZemStatus fft_free(ZemFftSpec* pSpec);
ZemStatus fft_get_work_size(const ZemFftSpec* pSpec, int32_t* pSize);
ZemStatus fft_fwd(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec, uint8_t* pWorkBuf);
ZemStatus fft_inv(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec, uint8_t* pWorkBuf);
ZemStatus fft_fwd_split(const float* pSrcRe, const float* pSrcIm, float* pDstRe, float* pDstIm,
                        const ZemFftSpec* pSpec, uint8_t* pWorkBuf);

// Multiplies len floats by factor (1.0: untouched, 0.0: zero-filled).
ZemStatus scale_vector_32f(float factor, float* pData, int32_t len);

// The unscaled kernels over N interleaved complex values, natural order in and out: a scalar
// reference and the SSE2 version, which give identical bits. src may equal dst; work holds N
// complex values (orders 6..15; unused otherwise).
struct FftKernels {
    void (*forward)(const float* src, float* dst, float* work, const ZemFftSpec& spec);
    void (*inverse)(const float* src, float* dst, float* work, const ZemFftSpec& spec);
};
extern const FftKernels kFftScalar;
extern const FftKernels kFftSse2;

// For owners that embed a spec (the DCT): table and work bytes of orders 6..28 before the
// header and slack; the bytes a spec occupies from its 32-byte aligned start; the unscaled
// transform in place on the record's N values with its work area (unused when its work
// size is 0); the refined reciprocal square root used for the 1/sqrt(N) scale.
struct FftCoreSizes {
    int64_t spec, work;
};
FftCoreSizes fft_core_sizes(int32_t order);
int64_t fft_footprint(int32_t order);
void fft_in_place(float* data, const ZemFftSpec& spec, bool inverse, uint8_t* work);
float fft_inv_sqrt(float n);

// The twiddle blocks of orders 3..15 (built in up to order 5), for tests.
const float* fft_twiddle_table(const ZemFftSpec& spec);

} // namespace zem
