// The DCT paths through a complex DFT: powers of two from 16, and the chirp-z lengths from 46.
#pragma once

#include <cstdint>

#include "transform/dct.hpp"

namespace zem {

// The inner FFT record (or the double-precision twiddles) start this far into the record.
constexpr int32_t kDctHeaderBytes = 64;

// Fills the record behind the header fields n, pow2 and large; pMemInit is the init scratch.
ZemStatus dct_init_fast(ZemDctSpec* s, uint8_t* base, uint8_t* pMemInit, bool inverse);
// Where the inverse keeps its scaled copy of the input inside the 32-byte aligned work buffer.
float* dct_inverse_copy(const ZemDctSpec& s, uint8_t* work);
void dct_fast_fwd(const float* x, float* y, const ZemDctSpec& s, uint8_t* work);
// w is the copy at dct_inverse_copy, already scaled by the orthonormal factors.
void dct_fast_inv(const float* w, float* x, const ZemDctSpec& s, uint8_t* work);

// The double-precision FFT pair of the chirp-z convolution, on P interleaved complex doubles
// in place (16-byte aligned) with the twiddles e^(-j 2 pi i / P), i < P/2: forward from natural
// to bit-reversed order, unscaled inverse back. The SSE2 pair gives the scalar pair's bits.
struct ChirpFftKernels {
    void (*forward)(double* z, int32_t P, const double* tw);
    void (*inverse)(double* z, int32_t P, const double* tw);
};
extern const ChirpFftKernels kChirpFftScalar;
extern const ChirpFftKernels kChirpFftSse2;

} // namespace zem
