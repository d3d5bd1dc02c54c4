// MDCT, float: N time samples and N/2 coefficients, n0 = N/4 + 1/2:
//   X[k] = 2 sum_n x[n] cos(2pi/N (n + n0)(k + 1/2)),  y[n] = 2/N sum_k X[k] cos(...).
// Both directions run through a complex DFT of Q = N/4 points between two twiddle passes with
// the pairs (g sin t_j, g cos t_j), t_j = 2pi (j + 1/8) / N:
//   forward: fold x into u_j = a_j + i b_j, z_j = conj(w_j) u_j, Z = DFT(z),
//            X[2j] = Re(conj(w_j) Z_j), X[N/2 - 1 - 2j] = -Im(conj(w_j) Z_j);
//   inverse: the transpose, which has the same shape: z_j = conj(w_j) (X[2j] + i X[N/2-1-2j]),
//            Z = DFT(z), u_j = conj(conj(w_j) Z_j), then u is unfolded into y.
// with w_j = g e^(i t_j); g = sqrt(2) forward and 1/sqrt(N/2) inverse give the factors 2 and 2/N.
// The library's four (I)MDCTs: this one (tags 55 and 56); the 16-bit forward one (mdct16.cpp),
// the same passes in integers around the 16-bit FFT; the AAC filter bank's cores
// (aac/mdct_core.hpp), the same fold in 32-bit fixed point around the fixed-point FFT; and the
// Layer III hybrid IMDCTs (mp3/imdct.hpp) of 18 lines, in double precision without an FFT. The
// integer ones are defined to the bit by their own rounding and cannot share this code; all four
// take the angles 2 pi (j + 1/8) / N (and the Layer III cosines) from transform/twiddle.hpp.
#pragma once

#include <cstdint>

#include "core/state.hpp"
#include "transform/fft.hpp"

namespace zem {

// The record at the start of a spec, 32 bytes on every target. Tables in caller memory are
// found by offsets from the record; a record made by InitAlloc is followed by MdctOwned.
struct MdctRecord {
    int32_t tag;
    int32_t n;
    int32_t workSize;  // bytes a caller work buffer needs, alignment slack included
    int32_t fftOrder;  // log2(N/4), 0 for N = 12 and 36
    int32_t allocated; // 1: made by InitAlloc
    int32_t twiddleOffset;
    int32_t fftOffset;
    int32_t reserved;
};
static_assert(sizeof(MdctRecord) == 32);

struct MdctOwned {
    void* twiddle;
    void* fft;
};

constexpr bool mdct_pow2(int32_t n) { return n >= 32 && (n & (n - 1)) == 0; }
constexpr bool mdct_valid_32f(int32_t n) { return n == 12 || n == 36 || mdct_pow2(n); }
// Order of the complex FFT of a power-of-two length: log2(N/4).
constexpr int32_t mdct_fft_order(int32_t n) { return log2_ceil(n / 4); }

inline const void* mdct_twiddles(const MdctRecord* r) {
    if (r->allocated)
        return reinterpret_cast<const MdctOwned*>(r + 1)->twiddle;
    return reinterpret_cast<const uint8_t*>(r) + r->twiddleOffset;
}
inline void* mdct_fft(const MdctRecord* r) {
    if (r->allocated)
        return reinterpret_cast<const MdctOwned*>(r + 1)->fft;
    return const_cast<uint8_t*>(reinterpret_cast<const uint8_t*>(r)) + r->fftOffset;
}

// Twiddle passes of the power-of-two lengths over the vector layout of the pairs: for each group
// of four j, the four g cos t_j then the four g sin t_j. z and Z are Q interleaved complex values.
struct MdctKernels {
    void (*fold)(const float* x, float* z, const float* tw, int32_t n);   // x: N -> z
    void (*post)(const float* Z, float* X, const float* tw, int32_t n);   // Z -> X: N/2
    void (*pre)(const float* X, float* z, const float* tw, int32_t n);    // X: N/2 -> z
    void (*unfold)(const float* Z, float* y, const float* tw, int32_t n); // Z -> y: N
};
extern const MdctKernels kMdctScalar;
extern const MdctKernels kMdctSse2;

// The same passes for N = 12 and 36, whose table holds consecutive (sin, cos) pairs.
extern const MdctKernels kMdctSmall;

// Index of c_j in the vector layout (s_j is 4 further on).
constexpr int32_t mdct_cos_index(int32_t j) { return 8 * (j >> 2) + (j & 3); }

// Fills the table of Q pairs with gain g, in the vector layout or (small) as (sin, cos) pairs.
void mdct_build_twiddles(float* tw, int32_t n, double g, bool pairLayout);

// Unscaled forward DFT of 3 or 9 complex values in place.
void mdct_small_dft(float* z, int32_t q);

} // namespace zem
