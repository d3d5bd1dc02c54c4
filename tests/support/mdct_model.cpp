#include "support/mdct_model.hpp"

#include <cmath>

namespace zemtest {

namespace {

// cos(2pi/(2N) (n + n0)(k + 1/2)) with the argument reduced exactly in integers: (2n + 2n0)
// and (2k + 1) are integers, so the phase is an integer multiple of pi/(4N).
double basis(int N, int n, int k) {
    const long long a = 2LL * n + N + 1; // 2 (n + n0)
    const long long b = 2LL * k + 1;     // 2 (k + 1/2)
    const long long period = 8LL * N;    // cos(pi m / (4N)) has period 8N in m
    const long long m = (a * b) % period;
    return std::cos(M_PI * double(m) / (4.0 * N));
}

} // namespace

std::vector<double> mdct(const std::vector<double>& x) {
    const int N = int(x.size() / 2);
    std::vector<double> X(std::size_t(N), 0.0);
    for (int k = 0; k < N; ++k) {
        double sum = 0.0;
        for (int n = 0; n < 2 * N; ++n)
            sum += x[std::size_t(n)] * basis(N, n, k);
        X[std::size_t(k)] = 2.0 * sum;
    }
    return X;
}

std::vector<double> imdct(const std::vector<double>& X) {
    const int N = int(X.size());
    std::vector<double> y(std::size_t(2 * N), 0.0);
    for (int n = 0; n < 2 * N; ++n) {
        double sum = 0.0;
        for (int k = 0; k < N; ++k)
            sum += X[std::size_t(k)] * basis(N, n, k);
        y[std::size_t(n)] = sum / N;
    }
    return y;
}

} // namespace zemtest
