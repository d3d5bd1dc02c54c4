// Matrixing of the Layer III polyphase synthesis: the 32-point DCT-II of one time slot's
// sub-band samples, A[m] = sum_k S[k] cos((2k + 1) m pi / 64), at unity gain, computed in double
// precision and rounded to integers (saturated). A scalar reference, and SSE2 and AVX2 versions
// with identical results.
#pragma once

#include <cstdint>

namespace zem::mp3 {

void dct32_scalar(const int32_t* s, int32_t* a);
void dct32_sse2(const int32_t* s, int32_t* a);
#if defined(__x86_64__)
void dct32_avx2(const int32_t* s, int32_t* a);
#endif

} // namespace zem::mp3
