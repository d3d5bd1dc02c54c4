// Windowing of the Layer III polyphase synthesis: 32 output sums from the DCT values of the
// 16 history slots, each term the signed upper half of a 64-bit product with the Q30 window.
// A scalar reference and an SSE2 version with identical results.
#pragma once

#include <cstdint>

namespace zem::mp3 {

// v: 16 slots of 32 DCT values; pos: the current slot; sum: the 32 wrapping 32-bit sums.
void polyphase_window_scalar(const int32_t* v, int pos, int32_t* sum);
void polyphase_window_sse2(const int32_t* v, int pos, int32_t* sum);

} // namespace zem::mp3
