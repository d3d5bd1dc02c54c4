// A plain, step-by-step evaluation of the fixed-point split-radix FFT (index stepping, angle
// rotations with 64-bit products and upper words, wrapping sums, swap list), kept as the
// reference the library's scheduled implementation must match bit for bit.
#pragma once

#include <cstdint>

namespace zemtest {

void fixed_fft_model(int32_t* data, int order, const int32_t* twiddle, const uint8_t* swap);

} // namespace zemtest
