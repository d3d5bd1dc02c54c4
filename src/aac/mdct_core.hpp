// MDCT, AAC (32-bit fixed point): the cores of the AAC filter bank (ISO/IEC 14496-3 filter
// bank and block switching), on N = 1024 or N = 128 coefficients through the fixed-point
// complex FFT of N/2 points. Shared by the filter bank exports and long-term prediction. Apart
// from the float MDCT (transform/mdct.hpp, which lists all four) because the decoder's PCM is
// defined by these integer steps; its Q30 twiddles come from transform/twiddle.hpp.
#pragma once

#include <cstdint>

namespace zem::aac {

// Inverse cores, in place on X[0..N). The output is the IMDCT y[0..2N) stored compactly:
// X[n] = y[n] and X[N/2 + n] = y[N + n] for n < N/2; y[N-1-n] = -y[n], y[2N-1-n] = y[N+n].
// The normalised core scales for headroom before the FFT and undoes it after: its y is the
// IMDCT 2/(2N) sum_k X[k] cos(2pi/(2N) (n + n0)(k + 1/2)). The plain core's y is N/16 of that.
void aac_imdct_norm_32s(int32_t* X, int N);
void aac_imdct_32s(int32_t* X, int N);

// The same cores by instruction set, with identical results: scalar code throughout, SSE2
// or AVX2 (x86-64). The two above run inverse_cores().
void aac_imdct_norm_32s_scalar(int32_t* X, int N);
void aac_imdct_32s_scalar(int32_t* X, int N);
void aac_imdct_norm_32s_sse2(int32_t* X, int N);
void aac_imdct_32s_sse2(int32_t* X, int N);
void aac_imdct_norm_32s_avx2(int32_t* X, int N);
void aac_imdct_32s_avx2(int32_t* X, int N);
struct InverseCores {
    void (*norm)(int32_t* X, int N);
    void (*plain)(int32_t* X, int N);
};
inline constexpr InverseCores kInverseCoresScalar = {aac_imdct_norm_32s_scalar,
                                                     aac_imdct_32s_scalar};
inline constexpr InverseCores kInverseCoresSse2 = {aac_imdct_norm_32s_sse2, aac_imdct_32s_sse2};
#if defined(__x86_64__)
inline constexpr InverseCores kInverseCoresAvx2 = {aac_imdct_norm_32s_avx2, aac_imdct_32s_avx2};
#endif
const InverseCores& inverse_cores(); // the set this process runs (core/cpu.hpp)

// Forward cores, in place on 2N samples x; the N coefficients land in x[0..N).
// Plain: X[k] = 2 sum_n x[n] cos(2pi/(2N) (n + n0)(k + 1/2)); normalised: 1/(2N) of that.
void aac_mdct_32s(int32_t* x, int N);
void aac_mdct_norm_32s(int32_t* x, int N);

// The plain forward core by instruction set, with identical results (aac_mdct_32s runs
// forward_cores()).
void aac_mdct_32s_scalar(int32_t* x, int N);
void aac_mdct_32s_sse2(int32_t* x, int N);
void aac_mdct_32s_avx2(int32_t* x, int N);
struct ForwardCores {
    void (*plain)(int32_t* x, int N);
};
inline constexpr ForwardCores kForwardCoresScalar = {aac_mdct_32s_scalar};
inline constexpr ForwardCores kForwardCoresSse2 = {aac_mdct_32s_sse2};
#if defined(__x86_64__)
inline constexpr ForwardCores kForwardCoresAvx2 = {aac_mdct_32s_avx2};
#endif
const ForwardCores& forward_cores();

// Accessor of the compact inverse output: sample n of y[0..2N).
inline int32_t imdct_sample(const int32_t* X, int N, int n) {
    const int h = N / 2;
    if (n < h)
        return X[n];
    if (n < N)
        return int32_t(0u - uint32_t(X[N - 1 - n]));
    if (n < N + h)
        return X[n - h];
    return X[2 * N + h - 1 - n];
}

} // namespace zem::aac
