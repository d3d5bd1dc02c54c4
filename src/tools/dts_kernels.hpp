// The DTS synthesis bank's per-slot work, as a scalar reference and an SSE2 version that give
// identical bits.
//
// With C the DCT-IV of a slot's sub-band samples, C_j = sum_k X_k cos(pi (2k + 1)(2j + 1)/128),
// the bank's modulation row j (j mod 128 of the tap) equals (C_j - C_{31-j})/sqrt(2) for rows
// 0..31 and -(C_{63-j} + C_{j-32})/sqrt(2) for rows 32..63, and a tap of an even slot age uses
// rows 0..31, of an odd age rows 32..63. Both combinations are symmetric or antisymmetric about
// 15.5 and C_{2n}, C_{31-2n} come out of the same FFT bin, so a slot is kept as 32 values: the
// differences a_e = (C_2e - C_{31-2e})/sqrt(2) and the sums b_e = (C_2e + C_{31-2e})/sqrt(2),
// e = 0..15. Output 2e and output 31 - 2e then each take one value of every slot.
#pragma once

#include <cstdint>

#include "transform/fft.hpp"

namespace zem::dts {

constexpr int kSlots = 16; // slots a tap reaches: 512 taps of 32 outputs

// Window of one prototype: for slot age g the coefficients of outputs 2e (even[g]) and 31 - 2e
// (odd[g]) with the signs of the modulation folded in.
struct SlotWindow {
    float even[kSlots][16];
    float odd[kSlots][16];
};

struct DtsKernels {
    // The 32 history values of one slot from its 32 sub-band samples; fft is an order-4
    // interleaved record, work 32 floats of scratch.
    void (*fold)(const float* src, float* slot, const ZemFftSpec& fft, float* work);
    // 32 outputs from the history (slot s at history + 32 s; the newest at `newest`).
    void (*window)(const float* history, int newest, const SlotWindow& w, float* dst);
};
extern const DtsKernels kDtsScalar;
extern const DtsKernels kDtsSse2;

} // namespace zem::dts
