// Double-precision MDCT and IMDCT of ISO/IEC 14496-3, evaluated directly from the definitions.
#pragma once

#include <vector>

namespace zemtest {

// X[k] = 2 sum_{n<2N} x[n] cos(2pi/(2N) (n + n0)(k + 1/2)), n0 = (N + 1)/2; N = x.size() / 2.
std::vector<double> mdct(const std::vector<double>& x);
// y[n] = (2/(2N)) sum_{k<N} X[k] cos(2pi/(2N) (n + n0)(k + 1/2)), n < 2N; N = X.size().
std::vector<double> imdct(const std::vector<double>& X);

} // namespace zemtest
