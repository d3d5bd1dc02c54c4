// Orthonormal DCT-II (forward) and DCT-III (inverse) of any length n >= 1, single precision.
// Lengths 1, 2, 4 and 8 run straight-line kernels; other lengths below 46 that are not powers
// of two evaluate the folded cosine sums directly; powers of two from 16 go through a real
// FFT of length n (a complex FFT of n/2 points); the remaining lengths through a real DFT
// whose complex DFT of L = n or n/2 points is a chirp-z convolution on a power-of-two FFT.
#pragma once

#include <cstdint>

#include "zemac/core.h"

namespace zem {

enum : int32_t { kDctTagFwd = 21, kDctTagInv = 22 };

// Header at the caller's spec memory rounded up to 32 bytes. The inner FFT spec, when there
// is one, starts 64 bytes after it; the byte offsets below count from the header.
struct ZemDctSpec {
    int32_t tag;
    int32_t n;
    int32_t hint;
    int32_t workSize;      // bytes, without the 32 bytes of alignment slack
    float invSqrtN;        // c(0) = 1/sqrt(n)
    float sqrt2OverN;      // c(k) = sqrt(2/n), k >= 1
    int32_t small;         // n = 1, 2, 4 or 8
    int32_t pow2;          // power of two from 16: real FFT of n/2 complex points
    int32_t large;         // other lengths from 46: chirp-z DFT of L points
    const float* cosTable; // direct path: cos(2 pi m / 4n), m < 4n
    int32_t L;             // complex DFT length of the fast paths
    int32_t twiddleOffset; // post- and pre-processing twiddles
    int32_t chirpOffset;   // chirp e^(-j pi m^2 / L), m < L
    int32_t filterOffset;  // FFT of the conjugate chirp, over the FFT length, times 1/P
};

ZemStatus dct_get_buf_sizes(int32_t n, int32_t hint, int32_t* pSizeSpec, int32_t* pSizeInit,
                            int32_t* pSizeWork);
ZemStatus dct_fwd_init(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                       uint8_t* pMemInit);
ZemStatus dct_inv_init(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                       uint8_t* pMemInit);
ZemStatus dct_fwd(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf);
ZemStatus dct_inv(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf);

} // namespace zem
