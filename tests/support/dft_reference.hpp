// Double-precision references for the transform tests: the DFT evaluated from its definition,
// a radix-2 FFT with exact twiddles for lengths where O(N^2) is too slow, and error measures.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace zemtest {

using cvec = std::vector<std::complex<double>>;

// X[k] = sum x[m] e^(-+j 2 pi m k / N) (sign + for inverse), unscaled.
cvec direct_dft(const cvec& x, bool inverse);
// The same by recursive radix-2 decimation in time (N a power of two).
cvec fast_dft(const cvec& x, bool inverse);

// ||got - want|| / ||want|| over interleaved floats.
double rel_l2(const float* got, const cvec& want);

// n complex values uniform in [-1, 1) from the given seed.
cvec random_complex(std::size_t n, unsigned seed);

} // namespace zemtest
