// FFT, 16-bit (block floating point), of the 16-bit MDCT: 2^order points of 32-bit data,
// forward, in place, with Q15 twiddles and block floating point (the whole block is halved
// before a stage whenever a value could overflow). Its spec (tag 1) has the lifecycle of the
// float FFT's. Apart from fft.hpp because its output, halvings included, is fixed to the bit;
// it shares the twiddle generator (twiddle.hpp) with the other FFTs.
#pragma once

#include <cstdint>

#include "zemac/core.h"

namespace zem {

enum : int32_t { kFft16Tag = 1 };

// Header at the record memory rounded up to 32 bytes; the twiddle run e^(-j 2 pi k / M),
// k < M/2, as Q15 (re, im) pairs follows it.
struct ZemFft16Spec {
    int32_t tag;
    int32_t order;
    int32_t allocated;
    int32_t blockOffset; // bytes from the allocated block to the header (InitAlloc)
    int32_t reserved[4];
};
static_assert(sizeof(ZemFft16Spec) == 32);

ZemStatus fft16_get_buf_sizes(int32_t order, int32_t* pSizeSpec, int32_t* pSizeInit,
                              int32_t* pSizeWork);
ZemStatus fft16_init(ZemFft16Spec** ppSpec, int32_t order, uint8_t* pMemSpec);
ZemStatus fft16_init_alloc(ZemFft16Spec** ppSpec, int32_t order);
ZemStatus fft16_free(ZemFft16Spec* pSpec);

// Unscaled DFT of the 2^order complex values at data, divided by 2^(*pExponent) on return.
// Inputs must stay below 2^29 in magnitude.
void fft16_fwd(Zem32sc* data, const ZemFft16Spec& spec, int32_t* pExponent);

} // namespace zem
