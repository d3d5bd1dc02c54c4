// The matrixing cosines of the Layer III polyphase banks, in the folded form both directions
// use: analysis S[k] = sum_n a[n] cos((2k + 1) n pi/64) over the folded window sums a[n], and the
// synthesis matrixing A[n] = sum_k S[k] cos((2k + 1) n pi/64), n, k = 0..31.
#pragma once

#include "transform/twiddle.hpp"

namespace zem::mp3 {

template <class T> struct PqmfCosines {
    T c[32][32]; // [k][n]
};

template <class T> constexpr PqmfCosines<T> make_pqmf_cosines() {
    PqmfCosines<T> t{};
    for (int k = 0; k < 32; ++k)
        for (int n = 0; n < 32; ++n)
            t.c[k][n] = T(cos_sin_constexpr((2 * k + 1) * n, 128.0).c);
    return t;
}

// Folds the 64 window sums Y of an analysis slot into the 32 inputs of the cosine sums: the
// matrix cos((2k + 1)(i - 16) pi/64) is even about i = 16 and odd about i = 48 (where it is 0).
template <class T, class U> inline void fold_window_sums(const T* y, U* a) {
    a[0] = U(y[16]);
    for (int n = 1; n <= 16; ++n)
        a[n] = U(y[16 + n]) + U(y[16 - n]);
    for (int n = 17; n < 32; ++n)
        a[n] = U(y[16 + n]) - U(y[80 - n]);
}

} // namespace zem::mp3
